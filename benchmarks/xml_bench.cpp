// The program's XML document against other libraries: parsing, reading and building messages and long
// documents.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include "benchmarks/xml_libraries.h"
#include "benchmarks/xml_messages.h"

namespace {

template <class Library>
void parse(benchmark::State& state, const Message& message) {
  for ([[maybe_unused]] auto iteration : state) {
    typename Library::Document document;
    benchmark::DoNotOptimize(Library::parse(document, message.text));
  }
}

template <class Library>
void read(benchmark::State& state, const Message& message) {
  typename Library::Document document;
  Library::parse(document, message.text);
  std::string out;
  for ([[maybe_unused]] auto iteration : state) {
    out.clear();
    Library::read(document, message.root, out);
    benchmark::DoNotOptimize(out.data());
  }
}

/// What is done to a message on the wire: from its text to its fields.
template <class Library>
void parse_and_read(benchmark::State& state, const Message& message) {
  std::string out;
  for ([[maybe_unused]] auto iteration : state) {
    typename Library::Document document;
    Library::parse(document, message.text);
    out.clear();
    Library::read(document, message.root, out);
    benchmark::DoNotOptimize(out.data());
  }
}

template <class Library>
void build(benchmark::State& state, const Message& message) {
  std::string out;
  for ([[maybe_unused]] auto iteration : state) {
    Library::build(message, out);
    benchmark::DoNotOptimize(out.data());
  }
}

/// What a text says: without its header and line ends, which libraries write as they like.
std::string bare(std::string text) {
  if (text.starts_with("<?")) text.erase(0, text.find("?>") + 2);
  std::erase_if(text, [](char c) { return c == '\r' || c == '\n'; });
  return text;
}

/// All libraries have to read the same fields and to build the same text before anything is timed.
template <class Library>
void check(const Message& message, const std::string& fields) {
  typename Library::Document document;
  std::string read;
  std::string built;
  const bool parsed = Library::parse(document, message.text);
  if (parsed) Library::read(document, message.root, read);
  Library::build(message, built);
  if (parsed && read == fields && bare(built) == bare(message.text)) return;
  std::fprintf(stderr, "xml_bench: %s does not do the same work on %s\n", Library::kName,
               message.name.c_str());
  std::exit(1);
}

std::string fields_of(const Element& element) {
  std::string fields = element.text;
  for (const Element& child : element.children) fields += fields_of(child);
  return fields;
}

/// Where a benchmark gets its document from: long ones are made when they are needed.
using Source = std::function<const Message&()>;

template <class Library>
void enter_all(const std::string& name, const Source& source, double least_seconds) {
  const auto enter = [&](const char* work, void (*function)(benchmark::State&, const Message&)) {
    benchmark::RegisterBenchmark((std::string(work) + "/" + name + "/" + Library::kName).c_str(),
                                 [=](benchmark::State& state) { function(state, source()); })
        ->MinTime(least_seconds);
  };
  enter("parse", parse<Library>);
  enter("read", read<Library>);
  enter("parse_and_read", parse_and_read<Library>);
  enter("build", build<Library>);
}

template <class... Libraries>
void enter_message(const Message& message) {
  (check<Libraries>(message, fields_of(message.root)), ...);
  (enter_all<Libraries>(
       message.name, [&message]() -> const Message& { return message; }, 0.02),
   ...);
}

template <class... Libraries>
void enter_document(int elements) {
  const Source source = [elements]() -> const Message& { return document_of(elements); };
  (enter_all<Libraries>(std::to_string(elements) + "_elements", source, 0.01), ...);
}

template <class... Libraries>
void enter_everything() {
  for (const Message* message : {&request_60(), &reply_400(), &reply_1900()})
    enter_message<Libraries...>(*message);
  (check<Libraries>(document_of(1000), fields_of(document_of(1000).root)), ...);
  for (const int elements : {10'000, 100'000, 1'000'000}) {
    enter_document<Libraries...>(elements);
    enter_document<Boardtest>(2 * elements);  // how the time grows
  }
}

}  // namespace

int main(int argc, char** argv) {
  // Memory stays with the process: how the system hands out large blocks would be measured too.
  mallopt(M_MMAP_MAX, 0);
  mallopt(M_TRIM_THRESHOLD, INT_MAX);
  benchmark::Initialize(&argc, argv);
  enter_everything<Boardtest, PugiXml, TinyXml2, LibXml2>();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  xmlCleanupParser();
  return 0;
}
