// See ksml_scanner.h. No search runs over the same bytes again and again, so that the time stays
// proportional to the report's size whatever it holds.
#include "tools/ks2/ksml_scanner.h"

#include <algorithm>

#include "tools/ks2/report_text.h"
#include "tools/ks2/shown_text.h"

namespace kestrel::ks2 {

namespace {

constexpr std::string_view k_containers[] = {"ROW", "TABLE", "SECTION", "FILE", "GATHERED_DATA"};
constexpr std::string_view k_cdata_start = "<![CDATA[";
constexpr std::string_view k_cdata_end = "]]>";
constexpr size_t k_value_window = 256;  ///< how far the end of a damaged value is looked for
constexpr size_t k_file_tail = 64;      ///< within which </FILE> follows the end of its content
constexpr size_t k_name_shown = 40;

std::string quoted(std::string_view name) { return "<" + shown(name, k_name_shown) + ">"; }

/// Length of the line end that the text begins with, 0: none.
size_t line_end_length(std::string_view text) {
  return text.starts_with("\r\n") ? 2 : text.starts_with("\n") ? 1 : 0;
}

bool is_container(std::string_view name) {
  return std::find(std::begin(k_containers), std::end(k_containers), name) !=
         std::end(k_containers);
}

}  // namespace

size_t ksml_scanner::find(std::string_view text, size_t from) const {
  return std::min(bytes_.find(text, from), bytes_.size());
}

void ksml_scanner::report(size_t offset, std::string text) {
  faults_.add(severity::fault, offset, std::move(text));
}

ksml_token ksml_scanner::next() {
  ksml_token token;
  skip_text();
  token.offset = at_;
  const std::string_view text = rest();
  if (text.empty()) return token;
  if (text.starts_with("</")) {
    read_closing(token);
  } else if (text.starts_with("<?")) {
    read_instruction(token);
  } else if (text.starts_with("<!--")) {
    read_comment(token);
  } else if (text.starts_with(k_cdata_start)) {
    read_cdata(token);
  } else {
    read_element(token);
  }
  if (token.kind != ksml_token::at_end) end_line();
  return token;
}

void ksml_scanner::skip_text() {
  const size_t end = find("<", at_);
  if (end != at_) {
    report(at_,
           "text outside of the elements: \"" + shown(bytes_.substr(at_, end - at_), 40) + "\"");
  }
  at_ = end;
}

void ksml_scanner::end_line() {
  const size_t length = line_end_length(rest());
  if (length == 0) report(at_, "a line ends without CR LF");
  if (length == 1 && bare_lines_++ == 0) first_bare_line_ = at_;
  at_ += length;
}

void ksml_scanner::finish() {
  if (bare_lines_ == 0) return;
  report(first_bare_line_, "lines that end in LF instead of CR LF: " + std::to_string(bare_lines_));
}

void ksml_scanner::read_instruction(ksml_token& token) {
  token.kind = ksml_token::instruction;
  const size_t limit = find("<", at_ + 2);
  const size_t end = bytes_.substr(0, limit).find("?>", at_ + 2);
  if (end == std::string_view::npos) report(at_, "an instruction without its end");
  token.text = bytes_.substr(at_ + 2, std::min(end, limit) - at_ - 2);
  at_ = end == std::string_view::npos ? limit : end + 2;
}

void ksml_scanner::read_comment(ksml_token& token) {
  token.kind = ksml_token::comment;
  const size_t start = at_ + 4, limit = find("<", start);
  const size_t end = bytes_.substr(0, limit).find("-->", start);
  if (end == std::string_view::npos) report(at_, "a comment without its end");
  token.text = bytes_.substr(start, std::min(end, limit) - start);
  at_ = end == std::string_view::npos ? limit : end + 3;
}

/// The end mark at `end` is followed by the file's sum.
bool ksml_scanner::is_file_end(size_t end) const {
  const std::string_view behind = bytes_.substr(end + k_cdata_end.size());
  const size_t line_end = line_end_length(behind);
  return line_end != 0 && behind.substr(line_end).starts_with("<CHK>");
}

/// Where the content ends that begins at `from`: at a CDATA end mark, or at the end of the report.
/// The content of a file that an older gatherer embedded may hold that mark itself: it goes on
/// until the file's sum follows.
size_t ksml_scanner::cdata_end(size_t from) {
  for (size_t end = find(k_cdata_end, from);; end = find(k_cdata_end, end)) {
    if (end == bytes_.size()) {
      report(from, "the report is cut inside an embedded file");
      return end;
    }
    if (is_file_end(end)) return end;
    std::string_view behind = bytes_.substr(end + k_cdata_end.size());
    if (!behind.starts_with(k_cdata_start)) {
      if (line_end_length(behind) == behind.size()) return end;
      // The file ends here all the same when only its sum is damaged.
      behind = behind.substr(0, k_file_tail);
      const size_t file_end_tag = behind.find("</FILE>");
      if (file_end_tag < behind.find(k_cdata_end)) return end;
      report(end, "a CDATA section ends early");
      return file_end(end);
    }
    end += k_cdata_end.size() + k_cdata_start.size();
  }
}

/// The next end mark that the file's sum follows, `end` itself when there is none.
size_t ksml_scanner::file_end(size_t end) {
  if (next_file_end_ < end) next_file_end_ = end;
  while (next_file_end_ < bytes_.size() && !is_file_end(next_file_end_)) {
    next_file_end_ = find(k_cdata_end, next_file_end_ + 1);
  }
  return next_file_end_ == bytes_.size() ? end : next_file_end_;
}

void ksml_scanner::read_cdata(ksml_token& token) {
  token.kind = ksml_token::cdata;
  const size_t start = at_ + k_cdata_start.size();
  const size_t end = cdata_end(start);
  token.text = bytes_.substr(start, end - start);
  at_ = std::min(end + k_cdata_end.size(), bytes_.size());
}

void ksml_scanner::read_closing(ksml_token& token) {
  token.kind = ksml_token::closing;
  const size_t end = std::min(bytes_.find_first_of("<>\n", at_ + 2), bytes_.size());
  token.name = bytes_.substr(at_ + 2, end - at_ - 2);
  const bool is_ended = end < bytes_.size() && bytes_[end] == '>';
  if (!is_ended) report(at_, "an end tag without its end");
  at_ = is_ended ? end + 1 : end;
}

/// Reads ` name="value"`; false when something else stands there.
bool ksml_scanner::read_attribute(ksml_token& token) {
  const size_t name_start = at_ + 1;
  const size_t equals = std::min(bytes_.find_first_of("=<>\n", name_start), bytes_.size());
  if (!bytes_.substr(equals).starts_with("=\"")) return false;
  const std::string_view name = bytes_.substr(name_start, equals - name_start);
  const size_t value_start = equals + 2;
  const size_t value_end = std::min(bytes_.find_first_of("\"<", value_start), bytes_.size());
  if (value_end == bytes_.size() || bytes_[value_end] != '"') return false;
  const std::string_view value = bytes_.substr(value_start, value_end - value_start);
  std::string_view* const target = name == "ID" ? &token.id : name == "W" ? &token.width : nullptr;
  if (target == nullptr || target->data() != nullptr) return false;
  *target = value;
  check_references(value);
  at_ = value_end + 1;
  return true;
}

void ksml_scanner::read_element(ksml_token& token) {
  const size_t start = at_ + 1;
  at_ = std::min(bytes_.find_first_of(" <>/\r\n", start), bytes_.size());
  token.name = bytes_.substr(start, at_ - start);
  while (rest().starts_with(' ') && read_attribute(token)) {
  }
  // Half a tag at the end of a cut report may be the beginning of another name.
  if (bytes_.find_first_of("<>\n", at_) == std::string_view::npos) {
    at_ = bytes_.size();
    return;
  }
  if (!rest().starts_with('>')) {
    report(at_, "the start of element " + quoted(token.name) + " is damaged");
    at_ = bytes_.find_first_of("<>\n", at_);
  }
  if (rest().starts_with('>')) ++at_;
  token.kind = ksml_token::opening;
  if (!is_container(token.name)) read_value(token);
}

void ksml_scanner::read_value(ksml_token& token) {
  token.kind = ksml_token::value;
  size_t stop = find("<", at_);
  const std::string closing = "</" + std::string(token.name.substr(0, k_value_window)) + ">";
  const auto is_closed = [&] { return bytes_.substr(stop).starts_with(closing); };
  const bool is_end_tag = bytes_.substr(stop).starts_with("</");
  if (!is_closed() && !is_end_tag && stop < bytes_.size()) {
    // Either the '<' should not be there, or the element's end is what is missing.
    std::string_view window = bytes_.substr(stop, k_value_window);
    window = window.substr(0, window.find("\n<"));
    const size_t end = window.find(closing);
    if (end == std::string_view::npos) {
      report(token.offset, "element " + quoted(token.name) + " has no end");
      while (stop > at_ && (bytes_[stop - 1] == '\n' || bytes_[stop - 1] == '\r')) --stop;
      token.text = bytes_.substr(at_, stop - at_);
      at_ = stop;
      return;
    }
    report(stop, "a '<' in the value of " + quoted(token.name));
    stop += end;
  }
  token.text = bytes_.substr(at_, stop - at_);
  check_references(token.text);
  at_ = stop;
  if (is_closed()) {
    at_ += closing.size();
  } else if (stop == bytes_.size()) {
    report(stop, "the report is cut inside " + quoted(token.name));
  } else {
    report(stop, "the value of " + quoted(token.name) + " has another end");
    at_ = std::min(bytes_.find_first_of(">\n", stop), bytes_.size());
    if (rest().starts_with('>')) ++at_;
  }
}

void ksml_scanner::check_references(std::string_view raw) {
  for (size_t at = 0; (at = raw.find('&', at)) != std::string_view::npos; ++at) {
    if (next_character(raw.substr(at)).length > 1) continue;
    report(static_cast<size_t>(raw.data() - bytes_.data()) + at, "an '&' that begins no entity");
  }
}

}  // namespace kestrel::ks2
