// See pci_linux.h.
#include "probes/pci_linux.h"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "lib/debug.h"
#include "lib/folder_listing.h"
#include "lib/util_linux.h"
#include "lib/utilstr.h"

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

conf_file open_conf(unsigned bus, unsigned device, unsigned function, int flags) {
  std::string path = format_text("%s%02x/%02x.%01x", k_bus_folder, bus, device, function);
  return {path.c_str(), flags};
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

}  // namespace

bool pci_read_config(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                     std::span<unsigned char> buffer) {
  conf_file file = open_conf(bus, device, function, k_for_reading);
  if (!check_open(file)) return false;
  return check_transfer("pci_linux: read", pread(file.fd(), buffer.data(), buffer.size(), offset),
                        buffer.size());
}

bool pci_write_config(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                      std::span<const unsigned char> bytes) {
  conf_file file = open_conf(bus, device, function, k_for_writing);
  if (!check_open(file)) return false;
  return check_transfer("pci_linux: write", pwrite(file.fd(), bytes.data(), bytes.size(), offset),
                        bytes.size());
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
