// Plays SCSI devices: each answers a command with the bytes recorded for it, the rest of the reply
// buffer zero, as the version 2 interface does, or fails.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "probes/scsi.h"

namespace kestrel {

/// What a played device answers; a command whose reply is empty fails.
struct played_device {
  std::string inquiry = "";
  std::string serial = "";
  std::string capacity = "";
  std::string sense = "";
  scsi_device record = {};
};

class played_scsi : public scsi_probe {
 public:
  /// Adds a device and asks it for its INQUIRY data.
  void add(const played_device& device) {
    index_ = devices_.size();
    devices_.push_back(device.record);
    played_.push_back(device);
    get_current();
    read_inquiry();
  }

  int send_command(byte_span cdb, std::span<unsigned char> reply, size_t& returned) override {
    static const std::pair<std::string, std::string played_device::*> k_commands[] = {
        {std::string("\x12\0\0\0\xff\0",             6),  &played_device::inquiry },
        {std::string("\x12\1\x80\0\xff\0",           6),  &played_device::serial  },
        {std::string("\x25\0\0\0\0\0\0\0\0\0",       10), &played_device::capacity},
        {std::string("\x5a\x08\x2a\0\0\0\0\0\x18\0", 10), &played_device::sense   },
    };
    ++commands;
    returned = 0;
    for (const auto& [command, answer] : k_commands) {
      const std::string& bytes = played_[index_].*answer;
      if (command != std::string(cdb.begin(), cdb.end()) || bytes.empty()) continue;
      std::fill(reply.begin(), reply.end(), static_cast<unsigned char>(0));
      std::copy_n(bytes.begin(), std::min(bytes.size(), reply.size()), reply.begin());
      returned = reply.size();
      return 0;
    }
    return -1;
  }

  char* get_device_name(char* buffer, int size) override {
    std::snprintf(buffer, static_cast<size_t>(size), "sg%zu", index_);
    return buffer;
  }

  int commands = 0;

 private:
  std::vector<played_device> played_;
};

}  // namespace kestrel
