// The input is a revision, an output format (bit 7: with the debug log, for dumps and traces) and
// an SMBIOS table, which every printer reports.
#include <cstdint>
#include <cstdio>

#include "lib/debug.h"
#include "lib/interface.h"
#include "lib/table.h"
#include "probes/dmi_info.h"
#include "tests/doors/fake_pma.h"

using namespace kestrel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static FILE* const null = fopen("/dev/null", "w");
  if (size < 2 || size > 60000) return 0;
  if ((data[1] & 0x80) != 0) enable_log_to_stream(null);
  Table::set_output_format(static_cast<output_format_type>((data[1] & 0x7F) % 7));
  play_smbios({data + 2, size - 2}, 0x100000, data[0]);
  Dmi dmi;
  dmi_info(null, dmi);
  disable_log_to_stream();
  return 0;
}
