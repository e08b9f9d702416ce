// The page of whatever may be in a report: nothing of it becomes markup or a control character.
#include <cstdlib>
#include <string_view>

#include "tools/ks2/html_page.h"

namespace {

size_t count(std::string_view text, std::string_view part) {
  size_t found = 0;
  for (size_t at = 0; (at = text.find(part, at)) != std::string_view::npos; ++at) ++found;
  return found;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace kestrel::ks2;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  judgement found;
  const report content = read_and_check(bytes, 1 << 26, found.faults);
  const page_source source = {std::string(bytes.substr(0, 20)),
                              size,
                              {{'C', "Node name", std::string(bytes)}},
                              content,
                              found};
  char* text = nullptr;
  size_t length = 0;
  FILE* const out = open_memstream(&text, &length);
  write_page(source, out);
  std::fclose(out);
  const std::string_view page(text, length);
  for (const char c : page) {
    if ((c >= 0 && c < ' ' && c != '\n' && c != '\t') || c == 0x7F) std::abort();
  }
  if (count(page, "<script") != 1 || count(page, "</script") != 1) std::abort();
  if (count(page, "<section ") != content.sections.size() || count(page, "<b>") != 0) std::abort();
  std::free(text);
  return 0;
}
