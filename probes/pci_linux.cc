// Reads and writes the files below /proc/bus/pci, through a worker, for a device that is gone can
// hold an access in the kernel.
#include "probes/pci_linux.h"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>

#include "lib/debug.h"
#include "lib/folder_listing.h"
#include "lib/util_linux.h"
#include "lib/utilstr.h"
#include "lib/worker_server.h"

namespace kestrel {
namespace {

constexpr char k_bus_folder[] = "/proc/bus/pci/";
constexpr int k_last_bus = 15;

// What fopen calls "r" and "w+".
constexpr int k_for_reading = O_RDONLY;
constexpr int k_for_writing = O_RDWR | O_CREAT | O_TRUNC;

/// One open configuration file.
class conf_file {
 public:
  conf_file(const char* path, int flags) : fd_(open(path, flags | O_CLOEXEC, 0600)) {}
  conf_file(const conf_file&) = delete;
  conf_file& operator=(const conf_file&) = delete;
  ~conf_file() {
    if (fd_ >= 0) close(fd_);
  }
  bool is_open() const { return fd_ >= 0; }
  int fd() const { return fd_; }

 private:
  int fd_;
};

/// One access to the registers of a function.
struct conf_access {
  uint8_t bus, device, function, offset;
  bool is_write;
  uint8_t size;  // bytes
  std::array<unsigned char, k_pci_access_size> bytes;
};

struct conf_answer {
  bool is_done = false;
  std::array<unsigned char, k_pci_access_size> bytes = {};
};

std::string conf_path(const conf_access& access) {
  return format_text("%s%02x/%02x.%01x", k_bus_folder, access.bus, access.device, access.function);
}

conf_file open_conf(const conf_access& access) {
  return {conf_path(access).c_str(), access.is_write ? k_for_writing : k_for_reading};
}

// An absent function is the usual answer of a scan and not worth a line.
bool check_open(const conf_file& file) {
  if (file.is_open()) return true;
  if (errno != ENOENT) print_error("pci_linux: open", errno);
  return false;
}

bool check_transfer(const char* what, ssize_t done, size_t wanted) {
  if (done >= 0 && static_cast<size_t>(done) == wanted) return true;
  if (done < 0) {
    print_error(what, errno);
  } else {
    printd("%s: %zd of %zu bytes\n", what, done, wanted);
  }
  return false;
}

conf_answer make_access(const conf_access& access) {
  conf_answer answer;
  const conf_file file = open_conf(access);
  if (!check_open(file)) return answer;
  answer.is_done =
      access.is_write
          ? check_transfer("pci_linux: write",
                           pwrite(file.fd(), access.bytes.data(), access.size, access.offset),
                           access.size)
          : check_transfer("pci_linux: read",
                           pread(file.fd(), answer.bytes.data(), access.size, access.offset),
                           access.size);
  return answer;
}

using conf_calls = device_calls<conf_access, conf_answer>;
// Never destroyed: what hung is remembered, and between sessions there is no worker to end.
conf_calls& worker_calls() {
  static conf_calls* const calls = new conf_calls("PCI DEVICES", make_access);
  return *calls;
}
int sessions = 0;

bool access_registers(const conf_access& access, conf_answer& answer) {
  if (sessions > 0) return worker_calls().ask(conf_path(access), access, answer) && answer.is_done;
  answer = make_access(access);
  return answer.is_done;
}

}  // namespace

pci_session::pci_session() { ++sessions; }

pci_session::~pci_session() {
  if (--sessions == 0) worker_calls().rest();
}

bool pci_read_config(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                     std::span<unsigned char> buffer) {
  if (buffer.size() > k_pci_access_size) return false;
  const auto size = static_cast<uint8_t>(buffer.size());
  conf_answer answer;
  if (!access_registers({bus, device, function, offset, false, size, {}}, answer)) return false;
  std::copy_n(answer.bytes.begin(), buffer.size(), buffer.begin());
  return true;
}

bool pci_write_config(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                      std::span<const unsigned char> bytes) {
  if (bytes.size() > k_pci_access_size) return false;
  const auto size = static_cast<uint8_t>(bytes.size());
  conf_access access = {bus, device, function, offset, true, size, {}};
  std::copy(bytes.begin(), bytes.end(), access.bytes.begin());
  conf_answer answer;
  return access_registers(access, answer);
}

int PCI_get_last_bus() { return k_last_bus; }

std::vector<bool> pci_list_functions() {
  constexpr unsigned k_functions_of_a_bus = 256;
  std::vector<bool> listed((k_last_bus + 1) * k_functions_of_a_bus);
  const folder_listing buses(k_bus_folder);
  for (unsigned bus = 0; bus <= k_last_bus; ++bus) {
    const std::string name = format_text("%02x", bus);
    if (!buses.may_have(name)) continue;
    const folder_listing functions((k_bus_folder + name).c_str());
    for (unsigned i = 0; i < k_functions_of_a_bus; ++i) {
      constexpr char k_digits[] = "0123456789abcdef";
      const char file[] = {k_digits[i >> 7], k_digits[i >> 3 & 15], '.', k_digits[i & 7]};
      listed[bus * k_functions_of_a_bus + i] = functions.may_have({file, sizeof file});
    }
  }
  return listed;
}

bool PCI_get_interrupt_routing(std::vector<unsigned char>& table) {
  table.clear();
  return false;
}

void pci_pause() { MilliPause(1); }

int64_t pci_milliseconds() {
  auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

}  // namespace kestrel
