#include "station/web/sessions.h"

#include <arpa/inet.h>

#include <algorithm>

#include "station/text/sha256.h"
#include "station/web/passwords.h"

namespace t1station {
namespace {

constexpr std::size_t kMostSessions = 1000, kMostTries = 4096;
constexpr int kFreeOfAName = 3, kFreeOfAnAddress = 20, kLongestDoubling = 6;
constexpr double kLongestWait = 60, kForgotten = 3600;  // seconds

// Whoever has one address of version 6 usually has all that begin with the same 64 bits.
std::string place_of(std::string_view address) {
  constexpr std::size_t kBytesOfANetwork = 8;
  in6_addr bytes{};
  if (inet_pton(AF_INET6, std::string(address).c_str(), &bytes) != 1) return std::string(address);
  return {reinterpret_cast<const char*>(&bytes), kBytesOfANetwork};
}

std::pair<std::string, std::string> of_address(std::string_view address) {
  return {place_of(address), {}};
}

std::pair<std::string, std::string> of_name(std::string_view address, std::string_view name) {
  return {place_of(address), "=" + std::string(name)};
}

// Takes away the entry that is oldest by what `time` says, when there are too many.
template <typename Map, typename Time>
void drop_oldest(Map& map, std::size_t most, const Time& time) {
  if (map.size() < most) return;
  map.erase(std::min_element(map.begin(), map.end(), [&time](const auto& one, const auto& other) {
    return time(one.second) < time(other.second);
  }));
}

}  // namespace

std::string Sessions::begin(const User& user, double now) {
  forget_old_ones(now);
  drop_oldest(sessions_, kMostSessions, [](const Session& session) { return session.used; });
  std::string id = random_id();
  sessions_[sha256_hex(id)] = {user.name, user.password, now, now};
  return id;
}

void Sessions::forget_old_ones(double now) {
  std::erase_if(sessions_, [now](const auto& entry) {
    return now - entry.second.begun >= kLongestLife || now - entry.second.used >= kLongestPause;
  });
}

const User* Sessions::find(std::string_view id, UsersFile& users, double now, bool is_use) {
  if (id.empty()) return nullptr;
  forget_old_ones(now);
  const auto found = sessions_.find(sha256_hex(id));
  if (found == sessions_.end()) return nullptr;
  Session& session = found->second;
  const User* user = users.find(session.name);
  if (!user || user->password != session.password) {
    sessions_.erase(found);
    return nullptr;
  }
  if (is_use) session.used = now;
  return user;
}

void Sessions::end(std::string_view id) {
  sessions_.erase(sha256_hex(id));
}

double LoginPace::wait(const Key& key, int free, double now) const {
  const auto found = tries_.find(key);
  if (found == tries_.end() || found->second.count < free) return 0;
  const int doubling = std::min(found->second.count - free, kLongestDoubling);
  const double pause = std::min(static_cast<double>(1U << static_cast<unsigned>(doubling)), kLongestWait);
  return std::max(0.0, found->second.last + pause - now);
}

double LoginPace::wait(std::string_view address, std::string_view name, double now) const {
  return std::max(wait(of_name(address, name), kFreeOfAName, now),
                  wait(of_address(address), kFreeOfAnAddress, now));
}

void LoginPace::tried(std::string_view address, std::string_view name, double now) {
  std::erase_if(tries_, [now](const auto& entry) { return now - entry.second.last >= kForgotten; });
  for (const Key& key : {of_name(address, name), of_address(address)}) {
    drop_oldest(tries_, kMostTries, [](const Tries& tries) { return tries.last; });
    Tries& tries = tries_[key];
    ++tries.count;
    tries.last = now;
  }
}

void LoginPace::succeeded(std::string_view address, std::string_view name) {
  tries_.erase(of_name(address, name));
  if (const auto found = tries_.find(of_address(address)); found != tries_.end()) --found->second.count;
}

}  // namespace t1station
