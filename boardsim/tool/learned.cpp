#include "boardsim/tool/learned.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "boardsim/board/state.h"

namespace boardsim {
namespace {

using nlohmann::json;

constexpr int kFormat = 2;  // the first one had the application's answers without the commands' values
constexpr const char* kFile = "/learned.json";
constexpr std::string_view kSensor = "/proc/debug/temp";

std::string to_hex(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const char letter : bytes) {
    const auto byte = static_cast<unsigned char>(letter);
    text += {kDigits[byte >> 4U], kDigits[byte & 0xFU]};
  }
  return text;
}

std::string from_hex(const std::string& text) {
  std::string bytes;
  for (std::size_t at = 0; at + 1 < text.size(); at += 2)
    bytes += static_cast<char>(std::stoi(text.substr(at, 2), nullptr, 16));
  return bytes;
}

/// By number, as text: JSON has no other keys.
template <typename Number>
json to_json(const std::map<std::uint32_t, Number>& numbers) {
  json object = json::object();
  for (const auto& [key, value] : numbers) object[std::to_string(key)] = value;
  return object;
}

template <typename Number>
std::map<std::uint32_t, Number> numbers_of(const json& object) {
  std::map<std::uint32_t, Number> numbers;
  for (const auto& [key, value] : object.items())
    numbers[static_cast<std::uint32_t>(std::stoul(key))] = value.template get<Number>();
  return numbers;
}

json to_json(const Learned::Answer& answer) {
  json replies = json::array();
  for (const Learned::Reply& reply : answer.replies)
    replies.push_back({{"after", reply.after}, {"bytes", to_hex(reply.bytes)}});
  return {
      {"command", answer.command}, {"value", answer.value}, {"replies", replies}, {"closes", answer.closes}};
}

Learned::Answer answer_of(const json& object) {
  Learned::Answer answer{
      .command = object.at("command"), .value = object.at("value"), .closes = object.at("closes")};
  for (const json& reply : object.at("replies"))
    answer.replies.push_back({reply.at("after"), from_hex(reply.at("bytes"))});
  return answer;
}

json to_json(const Learned& learned) {
  json object{{"format", kFormat}, {"boot_block", to_hex(learned.boot_block)}};
  for (const auto& [node, registers] : learned.registers) object["registers"][node] = to_json(registers);
  for (const auto& [path, bytes] : learned.files) object["files"][path] = to_hex(bytes);
  for (const auto& [node, space] : learned.media)
    object["media"][node] = {{"size", space.size}, {"free", space.free}};
  for (const auto& [node, durations] : learned.blocks) object["blocks"][node] = to_json(durations);
  for (const auto& [node, durations] : learned.requests) object["requests"][node] = to_json(durations);
  for (const Learned::Answer& answer : learned.application) object["application"].push_back(to_json(answer));
  return object;
}

Learned learned_of(const json& object) {
  if (object.at("format") != kFormat) throw std::runtime_error("it is of another version: learn again");
  const json empty = json::object();
  const auto part = [&](const char* name) {
    return (object.contains(name) ? object.at(name) : empty).items();
  };
  Learned learned{.boot_block = from_hex(object.at("boot_block"))};
  if (!learned.boot_block.empty() && learned.boot_block.size() != BootBlock{}.size())
    throw std::runtime_error("its boot block has another size");
  for (const auto& [node, registers] : part("registers"))
    learned.registers[node] = numbers_of<std::uint32_t>(registers);
  for (const auto& [path, bytes] : part("files")) learned.files[path] = from_hex(bytes);
  for (const auto& [node, space] : part("media")) learned.media[node] = {space.at("size"), space.at("free")};
  for (const auto& [node, durations] : part("blocks"))
    learned.blocks[node] = numbers_of<std::int64_t>(durations);
  for (const auto& [node, durations] : part("requests"))
    learned.requests[node] = numbers_of<std::int64_t>(durations);
  for (const json& answer : object.value("application", json::array()))
    learned.application.push_back(answer_of(answer));
  return learned;
}

BootBlock block_of(const std::string& bytes) {
  BootBlock block{};
  std::copy_n(bytes.begin(), std::min(bytes.size(), block.size()), block.begin());
  return block;
}

void set_registers(Board& board, const std::string& node, const Learned::Registers& registers) {
  for (const auto& [address, value] : registers) {
    if (node == "/dev/fpga") board->fpga.set_reg(address, value);
    if (node == "/dev/tcs") board->stm8.set_reg(address, value);
  }
}

void set_file(Board& board, const std::string& path, const std::string& bytes) {
  if (path.starts_with(kSensor)) {
    board->sensors.set_content(std::stoi(path.substr(kSensor.size())), bytes);
  } else {
    board->files.set(path, bytes);
  }
}

}  // namespace

std::optional<std::uint32_t> Learned::type() const {
  return boot_block.empty() ? std::nullopt : std::optional(boot_type(block_of(boot_block)));
}

std::optional<Learned> read_learned(const std::string& folder) {
  const std::string file = folder + kFile;
  std::ifstream stream(file);
  if (!stream) return std::nullopt;
  try {
    return learned_of(json::parse(stream));
  } catch (const std::exception& error) {
    throw std::runtime_error(file + ": " + error.what());
  }
}

void write_learned(const std::string& folder, const Learned& learned) {
  const std::string file = folder + kFile;
  std::ofstream stream(file);
  stream << to_json(learned).dump(1) << '\n';
  if (!stream.flush()) throw std::runtime_error(file + " cannot be written");
}

void make_like(Board& board, const Learned& learned) {
  if (!learned.boot_block.empty()) board.boot_block() = block_of(learned.boot_block);
  for (const auto& [node, registers] : learned.registers) set_registers(board, node, registers);
  for (const auto& [path, bytes] : learned.files) set_file(board, path, bytes);
  for (const auto& [node, space] : learned.media) board->mounts.at(node).set_space(space.size, space.free);
  for (const auto& [node, durations] : learned.blocks) {
    for (const auto& [reads, span] : durations)
      board->mounts.at(node).set_block_time(reads != 0 ? Transfer::read : Transfer::write, Time(span));
  }
  for (const Learned::Answer& answer : learned.application) {
    std::vector<Application::Reply> replies;
    for (const Learned::Reply& reply : answer.replies) replies.push_back({Time(reply.after), reply.bytes});
    board->application.set_answer_to(answer.command, answer.value, std::move(replies), answer.closes);
  }
  const Locked lock(board.state().mutex);
  for (const auto& [node, durations] : learned.requests) {
    for (const auto& [request, span] : durations) board.state().durations[{node, request}] = Time(span);
  }
}

}  // namespace boardsim
