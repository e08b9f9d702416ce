// The service processor through its driver library or the ports; see sp.h.
#include "lib/sp.h"

#include <dlfcn.h>

#include <algorithm>
#include <memory>
#include <string_view>

#include "lib/debug.h"
#include "lib/sp_port_linux.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr char k_driver_library[] = "libsysSp.so";
constexpr int k_failed = 1;
constexpr int k_null_command = 2;
constexpr uint8_t k_status_ok = 0;
constexpr std::string_view k_list_commands("\0", 1);

template <class Function>
bool find_function(void* library, const char* name, const char* shown, Function*& function) {
  void* address = dlsym(library, name);
  if (address == nullptr) {
    printd("sp: %s\n", dlerror());
    return false;
  }
  printd("sp: %s at %p\n", shown, address);
  function = reinterpret_cast<Function*>(address);
  return true;
}

}  // namespace

ServiceProcessor::ServiceProcessor() {
  if (!load_driver()) unload_driver();
}

ServiceProcessor::~ServiceProcessor() {
  CloseComm();
  unload_driver();
}

bool ServiceProcessor::load_driver() {
  library_ = dlopen(k_driver_library, RTLD_NOW);
  if (library_ == nullptr) {
    printd("sp: %s\n", dlerror());
    return false;
  }
  return find_function(library_, "OpenSPDriver", "OPENSPDRIVER", open_driver_) &&
         find_function(library_, "CloseSPDriver", "CLOSESPDRIVER", close_driver_) &&
         find_function(library_, "SystemDataIO", "SYSTEMDATAIO", data_io_);
}

void ServiceProcessor::unload_driver() {
  if (library_ != nullptr) dlclose(library_);
  library_ = nullptr;
}

bool ServiceProcessor::OpenComm(int argument) {
  if (is_open_) return true;
  if (library_ != nullptr) {
    is_open_ = open_driver_(&driver_, argument, 0) == 0;
  } else if (sp_open_ports()) {
    is_open_ = is_sp_present();
    if (!is_open_) sp_close_ports();
  }
  return is_open_;
}

void ServiceProcessor::CloseComm() {
  if (!is_open_) return;
  is_open_ = false;
  if (library_ != nullptr) {
    close_driver_(driver_, 0);
  } else {
    sp_close_ports();
  }
}

int ServiceProcessor::SendCommand(SP_IO_COMMAND* command) {
  if (command == nullptr) return k_null_command;
  if (!is_open_) return k_failed;
  return library_ != nullptr ? data_io_(driver_, command, 0) : send_sp_command(command);
}

// --- questions ------------------------------------------------------------------------------

std::optional<std::vector<unsigned char>> ServiceProcessor::ask(std::string_view command) {
  if (command.empty() || command.size() > 256) return std::nullopt;
  auto record = std::make_unique<SP_IO_COMMAND>();
  record->command = static_cast<uint8_t>(command[0]);
  record->first_length = static_cast<uint8_t>(command.size() - 1);
  std::copy(command.begin() + 1, command.end(), record->data);
  if (SendCommand(record.get()) != 0 || record->status != k_status_ok) return std::nullopt;
  size_t length = std::min<size_t>(record->first_length + record->second_length, k_sp_max_data);
  return std::vector<unsigned char>(record->data, record->data + length);
}

bool ServiceProcessor::get_1_byte(const char* command, int* value) {
  auto reply = ask(command);
  if (!reply || reply->empty()) return false;
  *value = reply->front();
  return true;
}

bool ServiceProcessor::get_string(const char* command, char* buffer, int size) {
  auto reply = ask(command);
  if (!reply) return false;
  format_string(buffer, static_cast<size_t>(std::max(size, 0)), "%s", text_field(*reply).c_str());
  return true;
}

bool ServiceProcessor::get_time(const char* command, gathered_datetime* value) {
  auto reply = ask(command);
  if (!reply) return false;
  cursor at(*reply);
  SP_CLOCK clock = {};
  clock.date = at.get_u32();
  clock.time = at.get_u32();
  if (at.failed()) return false;
  value->setDate(clock);
  return true;
}

bool ServiceProcessor::list_supported_commands(FILE* out) {
  auto codes = ask(k_list_commands);
  if (!codes) return false;
  for (unsigned char code : *codes) std::fprintf(out, "%02x\n", code);
  return true;
}

}  // namespace kestrel
