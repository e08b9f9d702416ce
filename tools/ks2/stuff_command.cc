// ks2 stuff FILE -o OUT, ks2 unstuff FILE -o OUT
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "lib/utilstr.h"
#include "tools/ks2/command.h"
#include "tools/ks2/command_output.h"
#include "tools/ks2/progress.h"

namespace kestrel::ks2 {

namespace {

constexpr size_t k_block = 64 * 1024;

/// Puts the letters of the other ident over the file's own and hands everything on in blocks, the
/// ident first.
template <class Convert>
void convert(byte_span bytes, std::string_view ident, FILE* out, Convert convert_block) {
  std::fwrite(ident.data(), 1, ident.size(), out);
  std::vector<unsigned char> converted;
  for (byte_span rest = bytes.subspan(ident.size()); !rest.empty();) {
    const size_t size = std::min(rest.size(), k_block);
    converted.clear();
    convert_block(rest.first(size), converted);
    std::fwrite(converted.data(), 1, converted.size(), out);
    rest = rest.subspan(size);
  }
}

void write_form(const input_file& file, bool to_stuffed, FILE* out) {
  if (to_stuffed) {
    convert(file.bytes(), k_gth_stuffed_ident, out,
            [](byte_span piece, std::vector<unsigned char>& to) { stuff(piece, to); });
  } else {
    unstuffer form;
    convert(file.bytes(), k_gth_ident, out,
            [&form](byte_span piece, std::vector<unsigned char>& to) { form.feed(piece, to); });
  }
}

/// What forbids the conversion; null: nothing.
const char* objection(const input_file& file, bool to_stuffed) {
  if (!file.is_gather_file()) return "is a loose report, which has one form only";
  if (file.container().is_stuffed() == to_stuffed) {
    return to_stuffed ? "is in the stuffed form already" : "is in the plain form already";
  }
  if (file.container().fault() == gth_fault::head_cut) return "ends inside the head";
  if (file.container().fault() == gth_fault::stuffing) return "the stuffed form is broken";
  return nullptr;
}

int convert_file(const arguments& given, bool to_stuffed) {
  const char* const name = to_stuffed ? "stuff" : "unstuff";
  if (given.output == nullptr) {
    complain(name, "the output (-o) is missing");
    return exit_usage;
  }
  if (std::string_view(given.output) == "-" && isatty(STDOUT_FILENO) != 0) {
    complain("standard output", "is a terminal");
    return exit_usage;
  }
  const progress_stage stage(format_text("%s: %sing", given.operands[0], name));
  const input_file file(given.operands[0], given.max_size);
  if (file.status() != exit_whole) return refuse(file);
  if (const char* const reason = objection(file, to_stuffed); reason != nullptr) {
    complain(file.path(), reason);
    return file.is_gather_file() ? exit_damaged : exit_not_gather_file;
  }
  command_output out(file.path(), given.output, given.force);
  if (out.status() == exit_whole) write_form(file, to_stuffed, out.get());
  return out.finish();
}

}  // namespace

int run_stuff(const arguments& given) { return convert_file(given, true); }
int run_unstuff(const arguments& given) { return convert_file(given, false); }

}  // namespace kestrel::ks2
