// The program's XML document against other libraries: parsing, reading and building messages and long
// documents. Prints a line for each work, document and library: the processor time of one piece of work in
// nanoseconds, turn by turn; turns with the same place in their lines were made one behind the other.
// An argument chooses what is measured: those whose "work/document" has it as a part.
#include <malloc.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "benchmarks/xml_libraries.h"
#include "benchmarks/xml_messages.h"

namespace {

// A turn is short, so that whatever slows the machine down meets all who take part in a round; a row has many
// rounds.
constexpr double kTurn = 200e3;  // ns
constexpr double kRow = 1.5e9;   // ns, of the program itself
constexpr std::size_t kLeastRounds = 21;
constexpr std::size_t kMostRounds = 301;

double processor_time() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

/// Makes the compiler believe that what is there is looked at.
void use(const char* result) {
  asm volatile("" : : "r"(result) : "memory");
}

/// One that takes part in a row: its work, how often that is done in a turn, and what each turn took.
struct Contestant {
  const char* name;
  std::function<void()> work;
  long times = 1;
  std::vector<double> turns{};

  /// Once without being timed: caches and heap are as this work leaves them, not as another one does.
  double turn() const {
    work();
    const double start = processor_time();
    for (long i = 0; i < times; ++i) work();
    return (processor_time() - start) / static_cast<double>(times);
  }
  /// Finds out how often the work goes into a turn.
  void warm_up() {
    while (turn() * static_cast<double>(times) < kTurn) times *= 2;
  }
};

/// All take their turns in each round, in an order by chance.
void measure(const std::string& row, std::vector<Contestant> contestants) {
  static std::mt19937 chance(1);
  for (Contestant& each : contestants) each.warm_up();
  std::vector<Contestant*> order;
  for (Contestant& each : contestants) order.push_back(&each);
  double spent = 0;
  for (std::size_t round = 0; round < kLeastRounds || (round < kMostRounds && spent < kRow); ++round) {
    std::shuffle(order.begin(), order.end(), chance);
    for (Contestant* each : order) {
      each->turns.push_back(each->turn());
      spent += each->turns.back() * static_cast<double>(each->times);
    }
  }
  for (const Contestant& each : contestants) {
    std::printf("%s/%s", row.c_str(), each.name);
    for (const double turn : each.turns) std::printf(" %.1f", turn);
    std::printf("\n");
  }
}

template <class Library>
Contestant parse(const Message& message) {
  return {Library::kName, [&message] {
            typename Library::Document document;
            Library::parse(document, message.text);
          }};
}

template <class Library>
Contestant read(const Message& message) {
  const auto document = std::make_shared<typename Library::Document>();
  Library::parse(*document, message.text);
  return {Library::kName, [&message, document, out = std::string()]() mutable {
            out.clear();
            Library::read(*document, message.root, out);
            use(out.data());
          }};
}

/// What is done to a message on the wire: from its text to its fields.
template <class Library>
Contestant parse_and_read(const Message& message) {
  return {Library::kName, [&message, out = std::string()]() mutable {
            typename Library::Document document;
            Library::parse(document, message.text);
            out.clear();
            Library::read(document, message.root, out);
            use(out.data());
          }};
}

template <class Library>
Contestant build(const Message& message) {
  return {Library::kName, [&message, out = std::string()]() mutable {
            Library::build(message, out);
            use(out.data());
          }};
}

/// The least that reading could be: each tag's two ends, as the C library finds them.
Contestant scan(const Message& message) {
  return {"scan", [&text = message.text] {
            const char* const end = text.data() + text.size();
            for (const char* at = text.data(); at != nullptr;) {
              at = static_cast<const char*>(std::memchr(at, '<', static_cast<std::size_t>(end - at)));
              use(at);
              if (at == nullptr) break;
              at = static_cast<const char*>(std::memchr(at, '>', static_cast<std::size_t>(end - at)));
            }
          }};
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

constexpr const char* kWorks[] = {"parse", "read", "parse_and_read", "build"};

template <class Library>
Contestant contestant(const std::string& work, const Message& message) {
  if (work == "parse") return parse<Library>(message);
  if (work == "read") return read<Library>(message);
  return work == "build" ? build<Library>(message) : parse_and_read<Library>(message);
}

/// The rows of a document that are wanted. `source` gives the document: long ones are made when they are
/// needed.
template <class... Libraries>
void measure_document(const std::string& wanted, const std::string& name,
                      const std::function<const Message&()>& source) {
  for (const std::string work : kWorks) {
    const std::string row = work + "/" + name;
    if (row.find(wanted) == std::string::npos) continue;
    const Message& message = source();
    std::vector<Contestant> contestants = {contestant<Libraries>(work, message)...};
    if (work == "parse_and_read") contestants.push_back(scan(message));
    measure(row, std::move(contestants));
  }
}

/// How the time grows: a document against one of half its elements.
void measure_growth(const std::string& wanted, int elements) {
  for (const std::string work : kWorks) {
    const std::string row = work + "/" + std::to_string(elements) + "_elements";
    if (row.find(wanted) == std::string::npos) continue;
    Contestant half = contestant<Boardtest>(work, document_of(elements / 2));
    half.name = "half";
    measure(row, {contestant<Boardtest>(work, document_of(elements)), std::move(half)});
  }
}

template <class... Libraries>
void measure_everything(const std::string& wanted) {
  for (const Message* message : {&request_60(), &reply_400(), &reply_1900(), &document_of(1000)}) {
    (check<Libraries>(*message, fields_of(message->root)), ...);
  }
  for (const Message* message : {&request_60(), &reply_400(), &reply_1900()}) {
    measure_document<Libraries...>(wanted, message->name, [message]() -> const Message& { return *message; });
  }
  for (const int elements : {10'000, 100'000, 1'000'000}) {
    measure_document<Libraries...>(wanted, std::to_string(elements) + "_elements",
                                   [elements]() -> const Message& { return document_of(elements); });
    measure_growth(wanted, 2 * elements);
  }
}

}  // namespace

int main(int argc, char** argv) {
  // Memory stays with the process: how the system hands out large blocks would be measured too.
  mallopt(M_MMAP_MAX, 0);
  mallopt(M_TRIM_THRESHOLD, INT_MAX);
  measure_everything<Boardtest, PugiXml, TinyXml2, LibXml2>(argc > 1 ? argv[1] : "");
  xmlCleanupParser();
  return 0;
}
