// A file that was copied into the report: its first lines, and the rest folded, in pieces that the
// browser lays out only when they come into view.
#include <algorithm>

#include "tools/ks2/html_parts.h"

namespace kestrel::ks2 {

namespace {

constexpr size_t k_first_lines = 12;
constexpr size_t k_first_bytes = 2000;
constexpr size_t k_piece_lines = 200;
constexpr size_t k_piece_bytes = 32 * 1024;
constexpr size_t k_spared_lines = 4;  // this few more are not worth a fold

/// Where to cut a text after at most that many lines and about that many bytes; never inside a
/// character, a line end or a joint of two CDATA sections.
size_t cut_after(std::string_view text, size_t lines, size_t bytes) {
  const size_t limit = std::min(text.size(), bytes);
  size_t end = 0;
  for (; lines > 0 && end < limit; --lines) {
    const size_t line_end = text.substr(0, limit).find('\n', end);
    if (line_end == std::string_view::npos) break;
    end = line_end + 1;
  }
  if (lines == 0 || (end > 0 && limit < text.size())) return end;
  if (limit == text.size()) return limit;
  // One line that is longer than all that.
  end = limit;
  const size_t joint = text.substr(0, end + k_joint.size()).rfind(k_joint);
  if (joint != std::string_view::npos && joint < end) return joint + k_joint.size();
  while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) ++end;
  if (end < text.size() && text[end] == '\n') ++end;
  return end;
}

class file_writer {
 public:
  file_writer(page& to, size_t section, size_t number)
      : to_(to),
        out_(to.out),
        section_(section),
        number_(number),
        file_(to.source.content.sections[section].files[number]) {}

  void write();

 private:
  void write_title_line();
  void write_content();
  void write_piece(std::string_view text);

  page& to_;
  html_writer& out_;
  size_t section_, number_;
  const embedded_file& file_;
};

void file_writer::write() {
  out_.markup("<div class=\"block file\" id=\"");
  write_part_id(out_, section_, {true, number_});
  out_.markup("\">\n");
  write_title_line();
  write_marks(to_, to_.marks.at(section_, -1, static_cast<int>(number_)));
  if (file_.content.data() == nullptr) {
    out_.markup("<p class=\"note\">Could not be opened when the report was made.</p>\n");
  } else if (!file_.content.empty()) {
    write_content();
  }
  out_.markup("</div>\n");
}

void file_writer::write_title_line() {
  out_.markup("<h3>");
  write_title(out_, file_.path);
  if (file_.content.data() != nullptr) {
    out_.markup("<span class=\"count\">");
    write_count(out_, line_count(file_.content), "line", "lines");
    out_.markup(", ");
    out_.text(human_bytes(file_.content.size()));
    out_.markup("</span><button type=\"button\" class=\"copyfile\">Copy</button>");
  }
  out_.markup("</h3>\n");
}

void file_writer::write_content() {
  std::string_view rest = file_.content;
  size_t first = cut_after(rest, k_first_lines, k_first_bytes);
  if (line_count(rest.substr(first)) <= k_spared_lines && rest.size() <= 2 * k_first_bytes) {
    first = rest.size();
  }
  write_piece(rest.substr(0, first));
  const bool ends_line = first > 0 && rest[first - 1] == '\n';
  rest.remove_prefix(first);
  if (rest.empty()) return;
  out_.markup("<details><summary class=\"x\">");
  if (ends_line) {
    write_count(out_, line_count(rest), "more line", "more lines");
  } else {
    write_count(out_, rest.size(), "more byte", "more bytes");
  }
  out_.markup("</summary>\n");
  while (!rest.empty()) {
    const size_t size = cut_after(rest, k_piece_lines, k_piece_bytes);
    write_piece(rest.substr(0, size));
    rest.remove_prefix(size);
  }
  out_.markup("</details>\n");
}

void file_writer::write_piece(std::string_view text) {
  // A browser drops a line end directly behind the element's start.
  out_.markup("<pre>\n");
  while (!text.empty()) {
    const size_t end = file_.is_markup ? text.size() : std::min(text.find(k_joint), text.size());
    out_.lines(text.substr(0, end));
    text.remove_prefix(std::min(end + k_joint.size(), text.size()));
  }
  out_.markup("</pre>\n");
}

}  // namespace

void write_embedded_file(page& to, size_t section, size_t file) {
  file_writer(to, section, file).write();
}

}  // namespace kestrel::ks2
