// The input is the replies of one SCSI device, as the driver hands them over: a header with the
// command's status, then the data. Every table that SCSI devices appear in is written from them.
#include <algorithm>
#include <cstdio>

#include "lib/table.h"
#include "probes/scsi_linux.h"
#include "probes/scsi_probe.h"

using namespace kestrel;

namespace {

class replying_device : public scsi_probe {
 public:
  explicit replying_device(byte_span replies) : replies_(replies) {
    devices_.resize(1);
    get_first();
    read_inquiry();
  }
  int send_command(byte_span, std::span<unsigned char> reply, size_t& returned) override {
    byte_span response = replies_.first(std::min(replies_.size(), k_sg_header_size + reply.size()));
    replies_ = replies_.subspan(response.size());
    sg_header header = parse_sg_header(response);
    if (!check_status(header)) return -1;
    byte_span data = response.subspan(std::min(response.size(), k_sg_header_size));
    std::copy(data.begin(), data.end(), reply.begin());
    returned = reply.size();
    return 0;
  }

 private:
  byte_span replies_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static FILE* const null = fopen("/dev/null", "w");
  static probe_group group("SCSI Devices", 16, "SCSI Devices", true);
  static scsi_table devices(group, "SCSI PROBE", 3, 1);
  static optical_table drives(group, "OPTICAL PROBE", 5, 1);
  static optical_table_uc2 abilities(group, "OPTICAL PROBE 2", 5, 1);
  if (size == 0) return 0;
  Table::set_output_format(static_cast<output_format_type>(data[0] % 7));
  scsi_probe::instance = std::make_unique<replying_device>(byte_span(data, size).subspan(1));
  for (probe* member : {static_cast<probe*>(&devices), static_cast<probe*>(&drives),
                        static_cast<probe*>(&abilities)}) {
    scsi_probe::use_count = 0;  // keeps the device for all three
    if (member->test()) member->run(null);
  }
  return 0;
}
