// Reads /proc/meminfo line by line into counts of kilobytes and makes bytes, differences, loads and
// texts of them.
#include "probes/memory_linux.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string>

#include "lib/debug.h"
#include "lib/file.h"
#include "lib/getline.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr const char* k_meminfo = "/proc/meminfo";
constexpr size_t k_longest_line = 1023;
constexpr unsigned k_kilobyte = 1024;

struct meminfo_key {
  std::string_view word;
  uint64_t memory_handle_struct::*count;
};
constexpr meminfo_key k_keys[] = {
    {"MemTotal:",  &memory_handle_struct::total     },
    {"MemFree:",   &memory_handle_struct::free      },
    {"Buffers:",   &memory_handle_struct::buffers   },
    {"Cached:",    &memory_handle_struct::cached    },
    {"SwapTotal:", &memory_handle_struct::swap_total},
    {"SwapFree:",  &memory_handle_struct::swap_free },
};

uint64_t difference(uint64_t whole, uint64_t part) { return whole > part ? whole - part : 0; }

uint64_t in_bytes(uint64_t kilobytes) { return kilobytes << 10; }

unsigned load_of(uint64_t used, uint64_t total) {
  const uint64_t percent = total / 100;
  return percent == 0 ? 0 : static_cast<unsigned>(std::min<uint64_t>(used / percent, UINT_MAX));
}

char* size_text(uint64_t kilobytes, char* out, int size) {
  return calculate_memory_size(kilobytes, k_kilobyte, out, size);
}

char* load_text(unsigned load, char* out, int size) {
  return format_string(out, static_cast<size_t>(std::max(size, 0)), "%u%%", load);
}

}  // namespace

void parse_meminfo(std::string_view line, memory_handle_struct& info) {
  for (const meminfo_key& key : k_keys) {
    if (!line.starts_with(key.word)) continue;
    std::string_view text = line.substr(key.word.size());
    int64_t count = 0;
    scan_integer(text, count);
    info.*key.count = static_cast<uint64_t>(std::max<int64_t>(count, 0));
    printd("memory: found match %s %llu\n", key.word.data(),
           static_cast<unsigned long long>(info.*key.count));
  }
}

memory_handle_struct mem_get_info() {
  memory_handle_struct info;
  file_ptr in = open_regular_file(k_meminfo);
  if (in == nullptr) {
    print_error(k_meminfo, errno);
    return info;
  }
  std::string line;
  while (read_line(in.get(), line)) {
    line.resize(std::min(line.size(), k_longest_line));
    printd("memory: /proc/meminfo: %s", line.c_str());
    parse_meminfo(line, info);
  }
  return info;
}

uint64_t mem_get_total(const memory_handle_struct& info) { return info.total; }

uint64_t mem_get_total_bytes(const memory_handle_struct& info) {
  return in_bytes(mem_get_total(info));
}

char* mem_get_total(const memory_handle_struct& info, char* out, int size) {
  return size_text(mem_get_total(info), out, size);
}

uint64_t mem_get_free(const memory_handle_struct& info) {
  return info.free + info.buffers + info.cached;
}

uint64_t mem_get_free_bytes(const memory_handle_struct& info) {
  return in_bytes(mem_get_free(info));
}

char* mem_get_free(const memory_handle_struct& info, char* out, int size) {
  return size_text(mem_get_free(info), out, size);
}

uint64_t mem_get_used(const memory_handle_struct& info) {
  return difference(info.total, mem_get_free(info));
}

uint64_t mem_get_used_bytes(const memory_handle_struct& info) {
  return in_bytes(mem_get_used(info));
}

char* mem_get_used(const memory_handle_struct& info, char* out, int size) {
  return size_text(mem_get_used(info), out, size);
}

uint64_t mem_get_swap_total(const memory_handle_struct& info) { return info.swap_total; }

uint64_t mem_get_swap_total_bytes(const memory_handle_struct& info) {
  return in_bytes(mem_get_swap_total(info));
}

char* mem_get_swap_total(const memory_handle_struct& info, char* out, int size) {
  return size_text(mem_get_swap_total(info), out, size);
}

uint64_t mem_get_swap_free(const memory_handle_struct& info) { return info.swap_free; }

uint64_t mem_get_swap_free_bytes(const memory_handle_struct& info) {
  return in_bytes(mem_get_swap_free(info));
}

char* mem_get_swap_free(const memory_handle_struct& info, char* out, int size) {
  return size_text(mem_get_swap_free(info), out, size);
}

uint64_t mem_get_swap_used(const memory_handle_struct& info) {
  return difference(info.swap_total, info.swap_free);
}

uint64_t mem_get_swap_used_bytes(const memory_handle_struct& info) {
  return in_bytes(mem_get_swap_used(info));
}

char* mem_get_swap_used(const memory_handle_struct& info, char* out, int size) {
  return size_text(mem_get_swap_used(info), out, size);
}

unsigned mem_get_memory_load(const memory_handle_struct& info) {
  return load_of(mem_get_used(info), info.total);
}

char* mem_get_memory_load(const memory_handle_struct& info, char* out, int size) {
  return load_text(mem_get_memory_load(info), out, size);
}

unsigned mem_get_swap_load(const memory_handle_struct& info) {
  return load_of(mem_get_swap_used(info), info.swap_total);
}

char* mem_get_swap_load(const memory_handle_struct& info, char* out, int size) {
  return load_text(mem_get_swap_load(info), out, size);
}

}  // namespace kestrel
