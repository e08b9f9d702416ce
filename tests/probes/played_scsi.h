// Plays SCSI devices: each answers a command with the bytes recorded for it, the rest of the reply
// buffer zero, as the version 2 interface does, or fails.
#pragma once

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "probes/scsi.h"

namespace kestrel {

/// What a played device answers; a command without an entry fails.
enum played_command { inquiry_command, serial_command, capacity_command, sense_command };
using played_replies = std::map<played_command, std::string>;

class played_scsi : public scsi_probe {
 public:
  /// Adds a device and asks it for its INQUIRY data.
  void add(scsi_device device, played_replies replies) {
    index_ = devices_.size();
    devices_.push_back(device);
    replies_.push_back(std::move(replies));
    get_current();
    read_inquiry();
  }

  int send_command(byte_span cdb, std::span<unsigned char> reply, size_t& returned) override {
    static const std::map<std::string, played_command> k_commands = {
        {std::string("\x12\0\0\0\xff\0",             6),  inquiry_command },
        {std::string("\x12\1\x80\0\xff\0",           6),  serial_command  },
        {std::string("\x25\0\0\0\0\0\0\0\0\0",       10), capacity_command},
        {std::string("\x5a\x08\x2a\0\0\0\0\0\x18\0", 10), sense_command   },
    };
    returned = 0;
    auto command = k_commands.find({cdb.begin(), cdb.end()});
    if (command == k_commands.end()) return -1;
    asked.push_back(command->second);
    auto found = replies_[index_].find(command->second);
    if (found == replies_[index_].end()) return -1;
    std::fill(reply.begin(), reply.end(), static_cast<unsigned char>(0));
    std::copy_n(found->second.begin(), std::min(found->second.size(), reply.size()), reply.begin());
    returned = reply.size();
    return 0;
  }

  char* get_device_name(char* buffer, int size) override {
    if (size > 0) std::snprintf(buffer, static_cast<size_t>(size), "sg%zu", index_);
    return buffer;
  }

  std::vector<played_command> asked;

 private:
  std::vector<played_replies> replies_;
};

}  // namespace kestrel
