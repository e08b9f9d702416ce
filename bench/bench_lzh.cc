// LzH over 16 MB of a report's markup, of prose and of mixed data (markup, prose, noise and runs).
//
// For instruction counts, on 1 MB: valgrind --tool=callgrind
//   --toggle-collect='kestrel::LzH::Encode(std::span*' bench_lzh
//   --benchmark_filter=encode/markup_1MB
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "lib/lzh.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

class numbers {
 public:
  uint32_t below(uint32_t limit) {
    state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<uint32_t>((state_ >> 33) % limit);
  }

 private:
  uint64_t state_ = 1;
};

constexpr const char* k_names[] = {"kernel", "init",  "bash",   "sshd",   "cron",   "udevd",
                                   "syslog", "httpd", "eth0",   "ext3",   "swap",   "usb",
                                   "root",   "acpi",  "daemon", "nobody", "module", "libc"};

std::string row(numbers& random, unsigned number) {
  const auto name = [&random] { return k_names[random.below(std::size(k_names))]; };
  std::string text = "<ROW>\r\n";
  text += format_text("<INT ID=\"PID\" W=\"8\">%u</INT>\r\n", number);
  text += format_text("<STR ID=\"Name\" W=\"32\">%s</STR>\r\n", name());
  text += format_text("<STR ID=\"Command\" W=\"80\">/usr/sbin/%s -%c %s</STR>\r\n", name(),
                      static_cast<int>('a' + random.below(26)), name());
  text += format_text("<HEX ID=\"Address\" W=\"8\">%08X</HEX>\r\n", random.below(0x7FFFFFFF));
  text += format_text("<INT ID=\"Size\" W=\"10\">%u</INT>\r\n", random.below(100000));
  return text + format_text("<CHK>%8X</CHK>\r\n</ROW>\r\n", random.below(0x10000));
}

std::string markup(size_t size) {
  numbers random;
  std::string text;
  for (unsigned i = 0; text.size() < size; ++i) text += row(random, i);
  text.resize(size);
  return text;
}

/// Words of one to four syllables; some are far more frequent than others.
std::string prose(size_t size) {
  numbers random;
  std::vector<std::string> words(3000);
  for (std::string& word : words) {
    for (uint32_t syllables = 1 + random.below(4); syllables > 0; --syllables) {
      word += "bcdfghklmnprstvwz"[random.below(17)];
      word += "aeiouy"[random.below(6)];
      if (random.below(2) != 0) word += "lmnrst"[random.below(6)];
    }
  }
  std::string text;
  while (text.size() < size) {
    text += words[random.below(1 + random.below(1 + random.below(3000)))];
    text += random.below(12) != 0 ? " " : random.below(4) != 0 ? ". " : ".\n";
  }
  text.resize(size);
  return text;
}

std::string mixed(size_t size) {
  numbers random;
  const std::string tables = markup(size), words = prose(size);
  std::string text;
  while (text.size() < size) {
    const size_t count = 1000 + random.below(60000), kind = random.below(4);
    const size_t from = random.below(static_cast<uint32_t>(size));
    if (kind == 0) text.append(tables, from, count);
    if (kind == 1) text.append(words, from, count);
    if (kind == 2) text.append(count, static_cast<char>(random.below(256)));
    for (size_t i = 0; kind == 3 && i < count; ++i) text += static_cast<char>(random.below(256));
  }
  text.resize(size);
  return text;
}

std::span<const unsigned char> bytes_of(const std::string& text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

using generator = std::string (*)(size_t);

void encode(benchmark::State& state, generator make, size_t size) {
  const std::string text = make(size);
  std::vector<unsigned char> stream(2 * size + 8);
  const auto coder = std::make_unique<LzH>();
  LzwComp sizes = {};
  for (auto _ : state) coder->Encode(bytes_of(text), stream, &sizes);
  state.SetBytesProcessed(static_cast<int64_t>(size) * state.iterations());
  state.counters["ratio"] = static_cast<double>(sizes.compressed_size) / static_cast<double>(size);
}

void decode(benchmark::State& state, generator make, size_t size) {
  std::string text = make(size);
  std::vector<unsigned char> stream(2 * size + 8), output(size);
  const auto coder = std::make_unique<LzH>();
  LzwComp sizes = {};
  coder->Encode(bytes_of(text), stream, &sizes);
  stream.resize(sizes.compressed_size);
  for (auto _ : state) coder->Decode(stream, output);
  state.SetBytesProcessed(static_cast<int64_t>(size) * state.iterations());
}

constexpr size_t k_megabyte = 1000000;
BENCHMARK_CAPTURE(encode, markup, markup, 16 * k_megabyte)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encode, prose, prose, 16 * k_megabyte)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encode, mixed, mixed, 16 * k_megabyte)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encode, markup_1MB, markup, k_megabyte)->Iterations(1);
BENCHMARK_CAPTURE(decode, markup, markup, 16 * k_megabyte)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decode, prose, prose, 16 * k_megabyte)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decode, mixed, mixed, 16 * k_megabyte)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decode, markup_1MB, markup, k_megabyte)->Iterations(1);

}  // namespace
}  // namespace kestrel
