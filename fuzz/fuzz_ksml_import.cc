// A foreign file on its way into a markup report: imported as ksml, then embedded.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "lib/file.h"
#include "lib/table.h"
#include "lib/xml.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace kestrel;
  Table::set_output_format(OUTPUT_KSML);
  const int descriptor = memfd_create("ksml", MFD_CLOEXEC);
  if (write(descriptor, data, size) != static_cast<ssize_t>(size)) std::abort();
  const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
  char* report = nullptr;
  size_t length = 0;
  FILE* out = open_memstream(&report, &length);
  if (xml_log_ksml_file(out, path.c_str()) == 0) std::abort();
  std::fflush(out);
  if (length > 200 + 3 * size) std::abort();
  const long embedded = std::ftell(out);
  xml_log_file(out, path.c_str(), nullptr, 0);
  // The element holds one CDATA section after the other, and nothing ends them early.
  std::string_view rest(report + embedded, length - static_cast<size_t>(embedded));
  while (rest.find("<![CDATA[") != std::string_view::npos) {
    rest.remove_prefix(rest.find("<![CDATA["));
    rest.remove_prefix(rest.find("]]>") + 3);
    if (!rest.starts_with("<![CDATA[") && !rest.starts_with("\r\n<CHK>")) std::abort();
  }
  std::fclose(out);
  std::free(report);
  close(descriptor);
  return 0;
}
