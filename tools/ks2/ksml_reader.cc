// See ksml_reader.h. The reader keeps what is open and takes one token after the other; an element
// that stands where it does not belong closes or opens what is missing around it.
#include "tools/ks2/ksml_reader.h"

#include <algorithm>
#include <span>

#include "lib/mbcs.h"
#include "lib/utilstr.h"
#include "tools/ks2/ksml_scanner.h"
#include "tools/ks2/shown_text.h"

namespace kestrel::ks2 {

namespace {

constexpr std::string_view k_declaration =
    "xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"";
constexpr std::string_view k_import_start = " import ";
constexpr std::string_view k_import_start_mark = "<!-- import ";
constexpr std::string_view k_import_end_mark = "<!-- end of import -->";
/// A report with more faults is not read any further: there is nothing left to see in it.
constexpr size_t k_most_faults = 100'000;

enum class level { outside, report, section, table, row, file };

struct container {
  std::string_view name;
  level opens;
  level inside;  ///< what must be open around it
};
constexpr container k_containers[] = {
    {"GATHERED_DATA", level::report,  level::outside},
    {"SECTION",       level::section, level::report },
    {"TABLE",         level::table,   level::section},
    {"ROW",           level::row,     level::table  },
    {"FILE",          level::file,    level::section},
};

const container* container_named(std::string_view name) {
  for (const container& known : k_containers) {
    if (known.name == name) return &known;
  }
  return nullptr;
}

const char* name_of(level opened) {
  for (const container& known : k_containers) {
    if (known.opens == opened) return known.name.data();
  }
  return "";
}

/// Memory that the model may still take.
struct memory_budget {
  uint64_t left;
  bool is_spent = false;
  size_t spent_at = 0;  ///< offset in the report
};

class ksml_reader {
 public:
  ksml_reader(report& target, memory_budget& memory, fault_list& faults)
      : report_(target), memory_(memory), faults_(faults), scanner_(target.bytes, faults) {}
  /// For the body of an imported file, of which only the sections are taken.
  ksml_reader(report& target, memory_budget& memory, fault_list& faults, int import)
      : report_(target),
        memory_(memory),
        faults_(faults),
        scanner_(bytes_to_end_of(target, import), faults),
        import_(import) {
    scanner_.seek(target.offset_of(target.imports.back().body));
  }

  void read();
  void read_import();

 private:
  static std::string_view bytes_to_end_of(const report& whole, int import) {
    const std::string_view body = whole.imports[static_cast<size_t>(import)].body;
    return whole.bytes.substr(0, whole.offset_of(body) + body.size());
  }
  void take_all(ksml_token token);
  void take(const ksml_token& token);
  void open(const ksml_token& token);
  void close(const ksml_token& token);
  void take_value(const ksml_token& token);
  void take_cell(cell_kind kind, const ksml_token& token);
  void take_sum(const ksml_token& token);
  void take_content(const ksml_token& token);
  void take_comment(const ksml_token& token);
  void take_import(std::string_view path, size_t offset);
  size_t end_of_import(size_t start);
  void show_import();

  void push(level opened, std::string_view name, size_t offset);
  void pop(size_t end, bool is_in_order);
  void pop_to(level wanted, size_t offset);
  void need(level wanted, const ksml_token& token);
  void check_order(std::string_view what, size_t offset);
  void take_count(const ksml_token& token);
  report_sum* current_sum();
  bool charge(size_t bytes, size_t offset);
  void fail(size_t offset, std::string text) {
    faults_.add(severity::fault, offset, std::move(text));
  }

  report_section& section() { return report_.sections.back(); }
  report_table& table() { return section().tables.back(); }
  report_row& row() { return table().rows.back(); }
  embedded_file& file() { return section().files.back(); }

  report& report_;
  memory_budget& memory_;
  fault_list& faults_;
  ksml_scanner scanner_;
  level level_ = level::outside;
  const int import_ = -1;
  bool is_unbalanced_ = false;  ///< the comments around imported files do not pair off
};

/// What is open around a level.
level outer(level inner) {
  for (const container& known : k_containers) {
    if (known.opens == inner) return known.inside;
  }
  return level::outside;
}

bool is_inside(level inner, level wanted) {
  for (; inner != level::outside; inner = outer(inner)) {
    if (inner == wanted) return true;
  }
  return wanted == level::outside;
}

void ksml_reader::read() {
  ksml_token token = scanner_.next();
  if (token.kind != ksml_token::instruction || token.text != k_declaration || token.offset != 0) {
    fail(0, "the report does not begin with its XML declaration");
  }
  if (token.kind == ksml_token::instruction) token = scanner_.next();
  take_all(token);
  scanner_.finish();
  const size_t end = report_.bytes.size();
  if (memory_.is_spent) {
    report_.is_refused = true;
    faults_.add(severity::warning, memory_.spent_at,
                "the report takes more memory than --max-size allows; the rest is not read");
  } else if (level_ != level::outside) {
    fail(end, std::string("the report ends early, inside ") + name_of(level_));
  } else if (!report_.is_complete) {
    fail(end, "the report has no end mark");
  }
  pop_to(level::outside, end);
}

void ksml_reader::read_import() {
  level_ = level::report;
  take_all(scanner_.next());
  pop_to(level::report, scanner_.position());
}

void ksml_reader::take_all(ksml_token token) {
  for (; token.kind != ksml_token::at_end && !memory_.is_spent; token = scanner_.next()) {
    if (import_ < 0 && faults_.fault_count() > k_most_faults) {
      return fail(token.offset, "too many faults; the rest is not read");
    }
    take(token);
  }
}

/// Takes note of `bytes` of memory; false when there is no room for them.
bool ksml_reader::charge(size_t bytes, size_t offset) {
  // A vector that grows holds its elements up to three times.
  const uint64_t needed = 3 * bytes;
  if (memory_.is_spent) return false;
  if (needed > memory_.left) {
    memory_.is_spent = true;
    memory_.spent_at = offset;
    return false;
  }
  memory_.left -= needed;
  return true;
}

void ksml_reader::take(const ksml_token& token) {
  if (level_ == level::outside && report_.is_complete) {
    fail(token.offset, "something follows the end of the report");
  }
  switch (token.kind) {
    case ksml_token::opening:
      return open(token);
    case ksml_token::closing:
      return close(token);
    case ksml_token::value:
      return take_value(token);
    case ksml_token::comment:
      return take_comment(token);
    case ksml_token::cdata:
      return take_content(token);
    default:
      return fail(token.offset, "a processing instruction inside the report");
  }
}

// --- containers -----------------------------------------------------------------------------

void ksml_reader::open(const ksml_token& token) {
  const container* const known = container_named(token.name);
  if (known->opens == level::report && import_ >= 0) return;
  if (known->opens == level::report && level_ != level::outside) {
    return fail(token.offset, "another <GATHERED_DATA>");
  }
  need(known->inside, token);
  if (token.id.data() == nullptr && known->opens != level::report) {
    fail(token.offset, "<" + std::string(token.name) + "> without a name");
  }
  const std::string_view name =
      token.id.data() != nullptr ? token.id : report_.bytes.substr(token.offset, 0);
  push(known->opens, name, token.offset);
}

void ksml_reader::push(level opened, std::string_view name, size_t offset) {
  static constexpr size_t k_sizes[] = {0,
                                       0,
                                       sizeof(report_section),
                                       sizeof(report_table),
                                       sizeof(report_row),
                                       sizeof(embedded_file)};
  if (!charge(k_sizes[static_cast<size_t>(opened)], offset)) return;
  check_order(name_of(opened), offset);
  level_ = opened;
  if (opened == level::section) {
    report_.sections.push_back({.title = name, .offset = offset, .import = import_});
  } else if (opened == level::table) {
    section().parts.push_back({false, section().tables.size()});
    section().tables.push_back({.title = name, .offset = offset});
  } else if (opened == level::row) {
    table().rows.push_back({.name = name, .offset = offset, .first_cell = table().cells.size()});
  } else if (opened == level::file) {
    section().parts.push_back({true, section().files.size()});
    section().files.push_back({.path = name, .offset = offset});
  }
}

/// The sum of what is open comes last in it.
void ksml_reader::check_order(std::string_view what, size_t offset) {
  const report_sum* const sum = current_sum();
  if (sum == nullptr || !sum->is_present()) return;
  fail(offset, std::string(what) + " behind the sum of its " + name_of(level_));
}

/// Sees to it that `wanted` is the innermost thing open.
void ksml_reader::need(level wanted, const ksml_token& token) {
  if (level_ == wanted) return;
  if (is_inside(level_, wanted)) return pop_to(wanted, token.offset);
  fail(token.offset, "<" + shown(token.name, 40) + "> outside of " + name_of(wanted));
  // Its proper surroundings are missing: what there is of them stays, the rest is made up.
  std::string_view nameless = report_.bytes.substr(token.offset, 0);
  while (!is_inside(wanted, level_)) pop_to(outer(level_), token.offset);
  for (level next = wanted; level_ != wanted && !memory_.is_spent; next = wanted) {
    while (outer(next) != level_) next = outer(next);
    push(next, nameless, token.offset);
  }
}

void ksml_reader::close(const ksml_token& token) {
  const container* const known = container_named(token.name);
  if (known != nullptr && known->opens == level::report && import_ >= 0) return;
  if (known == nullptr || !is_inside(level_, known->opens)) {
    return fail(token.offset, "the end of <" + shown(token.name, 40) + ">, which is not open");
  }
  pop_to(known->opens, token.offset);
  if (current_sum() != nullptr && !current_sum()->is_present()) {
    fail(token.offset, std::string(known->name) + " has no sum");
  }
  pop(scanner_.position(), true);
}

void ksml_reader::pop_to(level wanted, size_t offset) {
  while (level_ != wanted) pop(offset, false);
}

void ksml_reader::pop(size_t end, bool is_in_order) {
  if (!is_in_order && end != report_.bytes.size()) {
    fail(end, std::string(name_of(level_)) + " has no end");
  }
  if (end == report_.bytes.size()) ++end;  // A fault at the end of the bytes lies in what was open.
  if (level_ == level::section) section().end = end;
  if (level_ == level::table) table().end = end;
  if (level_ == level::row) row().end = end;
  if (level_ == level::file) file().end = end;
  if (level_ == level::report) report_.is_complete = is_in_order;
  level_ = outer(level_);
}

// --- what stands in them --------------------------------------------------------------------

void ksml_reader::take_value(const ksml_token& token) {
  for (size_t i = 0; i < k_cell_kinds; ++i) {
    const auto kind = static_cast<cell_kind>(i);
    if (token.name == cell_kind_name(kind)) return take_cell(kind, token);
  }
  if (token.name == "CHK") return take_sum(token);
  if (token.name == "GATHERER_VERSION") {
    need(level::report, token);
    if (import_ >= 0) return;
    if (report_.version.data() != nullptr || !report_.sections.empty()) {
      fail(token.offset, "the version stands in the wrong place");
    }
    report_.version = token.text;
  } else if (token.name == "COLS" || token.name == "ROWS") {
    need(level::table, token);
    if (!memory_.is_spent) take_count(token);
  } else {
    fail(token.offset, "unknown element <" + shown(token.name, 40) + ">");
  }
}

void ksml_reader::take_count(const ksml_token& token) {
  const bool is_heading = token.name == "COLS";
  std::string_view& target = is_heading ? table().column_count : table().row_count;
  check_order(token.name, token.offset);
  const bool is_late = is_heading && !table().rows.empty();
  if (target.data() != nullptr || is_late) {
    fail(token.offset, "<" + std::string(token.name) + "> stands in the wrong place");
  }
  target = token.text;
}

void ksml_reader::take_cell(cell_kind kind, const ksml_token& token) {
  need(level::row, token);
  if (!charge(sizeof(report_cell), token.offset)) return;
  check_order("a cell", token.offset);
  if (token.id.data() == nullptr) fail(token.offset, "a cell without a name");
  int64_t width = 0;
  std::string_view digits = token.width;
  if (token.width.data() != nullptr &&
      (!scan_decimal(digits, width) || !digits.empty() || width <= 0 || width > UINT32_MAX)) {
    fail(token.offset, "\"" + shown(token.width, 20) + "\" is no width");
    width = 0;
  }
  table().cells.push_back({token.id, token.text, static_cast<uint32_t>(width), kind});
  ++row().cell_count;
}

report_sum* ksml_reader::current_sum() {
  switch (level_) {
    case level::report:
      return &report_.sum;
    case level::section:
      return &section().sum;
    case level::table:
      return &table().sum;
    case level::row:
      return &row().sum;
    case level::file:
      return &file().sum;
    default:
      return nullptr;
  }
}

void ksml_reader::take_sum(const ksml_token& token) {
  if (import_ >= 0 && level_ == level::report) return;
  report_sum* const sum = current_sum();
  if (sum == nullptr || sum->is_present())
    return fail(token.offset, "a sum that belongs to nothing");
  sum->digits = token.text;
}

void ksml_reader::take_content(const ksml_token& token) {
  if (level_ != level::file) return fail(token.offset, "a CDATA section outside of FILE");
  if (file().content.data() != nullptr || file().sum.is_present()) {
    fail(token.offset, "a second CDATA section");
  }
  file().content = token.text;
}

// --- imported files -------------------------------------------------------------------------

void ksml_reader::take_comment(const ksml_token& token) {
  if (import_ >= 0) return;
  std::string_view text = token.text;
  if (!text.starts_with(k_import_start) || !text.ends_with(' ')) {
    return fail(token.offset, "a comment that no gatherer writes");
  }
  text.remove_prefix(k_import_start.size());
  if (!text.empty()) text.remove_suffix(1);
  if (level_ != level::report && level_ != level::section) need(level::report, token);
  check_order("an imported file", token.offset);
  take_import(text, token.offset);
}

/// Where the end comment stands. The file itself may be a report with imports in it.
size_t ksml_reader::end_of_import(size_t start) {
  const std::string_view bytes = report_.bytes;
  size_t depth = 1, first = std::string_view::npos;
  for (size_t at = start; (at = bytes.find("<!-- ", at)) != std::string_view::npos; ++at) {
    const std::string_view rest = bytes.substr(at);
    if (rest.starts_with(k_import_start_mark)) ++depth;
    if (!rest.starts_with(k_import_end_mark)) continue;
    if (first == std::string_view::npos) first = at;
    if (is_unbalanced_ || --depth == 0) return at;
  }
  is_unbalanced_ = true;
  return first;
}

void ksml_reader::take_import(std::string_view path, size_t offset) {
  const size_t start = scanner_.position();
  size_t end = end_of_import(start);
  if (end == std::string_view::npos) {
    fail(offset, "an imported file without its end");
    end = report_.bytes.size();
  }
  if (!charge(sizeof(imported_file) + sizeof(report_section) + sizeof(embedded_file), offset))
    return;
  report_.imports.push_back({path, report_.bytes.substr(start, end - start), offset});
  scanner_.seek(end);
  if (end < report_.bytes.size()) scanner_.next();
  show_import();
}

/// What an imported file holds becomes sections; one that holds none becomes a section with its
/// markup.
void ksml_reader::show_import() {
  const imported_file& imported = report_.imports.back();
  const auto index = static_cast<int>(report_.imports.size() - 1);
  const size_t end = scanner_.position() + (scanner_.position() == report_.bytes.size() ? 1 : 0);
  embedded_file markup = {.path = imported.path, .offset = imported.offset, .end = end};
  markup.content = imported.body;
  markup.is_markup = true;
  if (level_ == level::section) {
    section().parts.push_back({true, section().files.size()});
    section().files.push_back(markup);
    return;
  }
  const size_t count = report_.sections.size();
  fault_list ignored;
  if (is_ksml(imported.body)) ksml_reader(report_, memory_, ignored, index).read_import();
  if (report_.sections.size() != count) return;
  report_.sections.push_back(
      {.title = imported.path, .offset = imported.offset, .end = end, .import = index});
  section().parts.push_back({true, 0});
  section().files.push_back(markup);
}

}  // namespace

bool is_ksml(std::string_view bytes) {
  constexpr size_t k_beginning = 4096;
  // One that has lost its head still shows what it is made of.
  constexpr std::string_view k_marks[] = {"<GATHERED_DATA>", "<SECTION ID=\"", "<TABLE ID=\"",
                                          "<ROW ID=\"",      "</ROW>\r\n",     "</SECTION>\r\n"};
  constexpr std::string_view k_other_marks[] = {"<KS_GATHERED_DATA>", "<InventoryTable "};
  const std::string_view start = bytes.substr(0, k_beginning);
  const auto first_of = [start](std::span<const std::string_view> marks) {
    size_t first = std::string_view::npos;
    for (const std::string_view mark : marks) first = std::min(first, start.find(mark));
    return first;
  };
  return first_of(k_marks) < first_of(k_other_marks);
}

report read_ksml(std::string_view bytes, uint64_t memory, fault_list& faults) {
  report result = {};
  result.bytes = bytes;
  memory_budget budget = {memory};
  ksml_reader(result, budget, faults).read();
  return result;
}

}  // namespace kestrel::ks2
