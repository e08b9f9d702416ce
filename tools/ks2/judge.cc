// Goes through the container and each item by its type: the identity block, stored files, reports
// and their sums, other markup; and packs again to see whether the gatherer would have packed so.
#include "tools/ks2/judge.h"

#include <algorithm>
#include <map>
#include <memory>

#include "gatherer/gthformat.h"
#include "lib/lzh.h"
#include "lib/utilstr.h"
#include "tools/ks2/command.h"
#include "tools/ks2/ksml_reader.h"
#include "tools/ks2/progress.h"
#include "tools/ks2/report.h"
#include "tools/ks2/shown_text.h"

namespace kestrel::ks2 {

namespace {

/// Items up to this size are packed again in a fraction of a second.
constexpr uint32_t k_packed_again = 8 << 20;

/// How far from the end of a stream a size that is too small can show.
constexpr size_t k_tail = 80;

constexpr size_t k_longest_element = 200;  // bytes of a name
constexpr size_t k_report_start = 4096;    ///< where a report's root stands
constexpr std::string_view k_report_root = "<GATHERED_DATA>";

/// Where the contents, packed again, give another byte than the file holds; the packed size when
/// they give the same. There is one packer, and what it makes of some contents is fixed: this tells
/// changes that no sum tells.
size_t first_other_byte(const input_item& item, const decoded_item& decoded) {
  std::vector<unsigned char> again(item.compressed_size);
  LzwComp sizes = {0, 0};
  const int result = std::make_unique<LzH>()->Encode(decoded.bytes, again, &sizes);
  const auto other = std::mismatch(again.begin(), again.end(), item.data.begin()).first;
  const auto same = static_cast<size_t>(other - again.begin());
  return result == 0 ? same : std::min<size_t>(same, item.compressed_size - 1);
}

/// Whether the stream goes on behind the item's size: with the rest of a match that the size cuts
/// short, which needs no more packed bytes. (Or so it seems, when the spare bits of its last byte
/// happen to be a symbol.)
bool goes_on(const input_item& item) {
  std::vector<unsigned char> longer(size_t{item.size} + 1);
  return longer.size() != item.compressed_size &&
         std::make_unique<LzH>()->Decode(item.data, longer) == 0;
}

bool holds_unsafe(std::string_view text) {
  bool is_found = false;
  for_each_character(text, [&is_found](wchar_t c) { is_found = is_found || is_unsafe(c); });
  return is_found;
}

/// The eight lines of the identity block, each with its letter.
void check_identity(std::string_view bytes, fault_list& faults) {
  std::string_view rest = bytes;
  for (const char letter : k_identity_letters) {
    const size_t offset = bytes.size() - rest.size();
    const size_t end = rest.find('\n');
    if (!rest.starts_with(letter) || end == std::string_view::npos) {
      faults.add(severity::fault, offset,
                 format_text("the identity block has no line %c, or not in its place", letter));
      return;
    }
    const std::string_view line = rest.substr(0, end);
    if (holds_unsafe(line)) {
      faults.add(severity::fault, offset, format_text("line %c holds control characters", letter));
    }
    rest.remove_prefix(end + 1);
  }
  if (!rest.empty()) {
    faults.add(severity::fault, bytes.size() - rest.size(),
               "something follows the last line of the identity block");
  }
}

/// An XML document that no sums guard: at least it begins and ends with the same element.
void check_markup(std::string_view bytes, severity level, fault_list& faults) {
  std::string_view rest = trim_whitespace(bytes);
  if (rest.starts_with("<?xml")) rest.remove_prefix(std::min(rest.find("?>"), rest.size() - 2) + 2);
  rest = trim_whitespace(rest);
  const std::string_view name = rest.substr(0, rest.find_first_of(" >\r\n"));
  if (name.size() < 2 || name.size() > k_longest_element || name[0] != '<') {
    faults.add(level, 0, "the document does not begin with an element");
  } else if (!rest.ends_with("</" + std::string(name.substr(1)) + ">")) {
    faults.add(level, bytes.size(), "the document does not end with its first element");
  } else if (!bytes.ends_with('\n')) {
    faults.add(level, bytes.size(), "the document's last line has no end");
  }
}

/// Whether the contents begin as a report that the gatherer writes.
bool begins_as_report(std::string_view bytes) {
  constexpr std::string_view k_marks[] = {"<GATHERED_DATA>", "<KS_GATHERED_DATA>",
                                          "<InventoryTable "};
  const std::string_view start = bytes.substr(0, k_report_start);
  return start.starts_with("<?xml ") &&
         std::any_of(std::begin(k_marks), std::end(k_marks), [start](std::string_view mark) {
           return start.find(mark) != std::string_view::npos;
         });
}

/// What only the gatherer itself can have stored begins and ends as it does.
struct fixed_form {
  uint8_t type;
  std::string_view start, end;
  const char* trouble;
};
constexpr fixed_form k_fixed_forms[] = {
    {item_html, "<html>\n",  "</body>", "the HTML report does not begin and end as one"},
    {item_text, "\nKestrel", "",        "the text report does not begin as one"        },
};

class file_judge {
 public:
  file_judge(const input_file& file, judging how) : file_(file), how_(how) {}

  judgement judge();
  /// Behind `judge`: the last ksml report.
  std::optional<opened_report> take_report();

 private:
  void judge_item(size_t index);
  bool judge_packing(const input_item& item, const decoded_item& decoded);
  void judge_type(const input_item& item, std::string_view bytes);
  void judge_contents(const input_item& item, decoded_item decoded, severity oddity);
  void judge_report(int number, decoded_item decoded);
  void judge_imports(const report& content);
  void check_identities();
  void check_for_report();
  void fail(size_t offset, std::string text) {
    faults_.add(severity::fault, offset, std::move(text));
  }

  const input_file& file_;
  const judging how_;
  judgement found_;
  fault_list& faults_ = found_.faults;
  size_t identities_ = 0;
  size_t report_items_ = 0;
  /// Items of other types that hold a report.
  std::vector<std::pair<int, severity>> misplaced_;
  fault_list report_faults_;  ///< of the last ksml report so far
  int report_number_ = -1;    ///< its item, 0: a loose report, -1: there is none
  std::optional<opened_report> report_;
  std::map<std::string, int> unguarded_;  ///< what carries no sum, how often
};

judgement file_judge::judge() {
  check_container(file_, faults_);
  if (file_.is_gather_file()) {
    for (size_t i = 0; i < file_.items().size(); ++i) judge_item(i);
    faults_.set_item(0);
    check_identities();
    check_for_report();
  } else {
    decoded_item whole;
    whole.bytes = file_.bytes();
    judge_report(0, std::move(whole));
  }
  faults_.append(report_faults_, false);
  for (const auto& [words, count] : unguarded_) {
    if (!found_.without_sums.empty()) found_.without_sums += ", ";
    found_.without_sums += words;
    if (count > 1) found_.without_sums += format_text(" (%d)", count);
  }
  sort_faults(faults_);
  return std::move(found_);
}

std::optional<opened_report> file_judge::take_report() {
  if (report_ || report_number_ <= 0) return std::move(report_);
  // It made room for an item behind it.
  decoded_item decoded = file_.decode(file_.items()[static_cast<size_t>(report_number_ - 1)]);
  fault_list known;
  report_.emplace(opened_report{report_number_, std::move(decoded), {}});
  report_->content = read_ksml(report_->decoded.text(),
                               file_.memory_left() - report_->decoded.unpacked.size(), known);
  return std::move(report_);
}

void file_judge::check_identities() {
  if (identities_ == 1 || file_.container().fault() != gth_fault::none) return;
  fail(k_gth_head_size, identities_ == 0
                            ? "there is no identity block"
                            : format_text("there are %zu identity blocks", identities_));
}

/// A run that only stores files leaves no report. One that stands in an item of another type was
/// the run's own before the type was changed, or somebody stored it.
void file_judge::check_for_report() {
  if (report_items_ > 0) return;
  for (const auto& [number, level] : misplaced_) {
    faults_.set_item(number);
    faults_.add(level, 0, "it holds a report, and the file has no item of that type");
  }
}

void file_judge::judge_item(size_t index) {
  const input_item& item = file_.items()[index];
  progress_stage stage(
      format_text("%s: item %zu of %zu", file_.path(), index + 1, file_.items().size()));
  faults_.set_item(static_cast<int>(index + 1));
  ++found_.items;
  report_.reset();
  if (item.type == item_report) ++report_items_;
  decoded_item decoded = file_.decode(item);
  check_decoding(item, decoded, faults_);
  found_.is_refused = found_.is_refused || decoded.is_refused;
  if (decoded.is_refused) return;
  const bool is_as_packed = judge_packing(item, decoded);
  judge_contents(item, std::move(decoded), is_as_packed ? severity::warning : severity::fault);
}

/// False when the contents, packed again, give other bytes.
bool file_judge::judge_packing(const input_item& item, const decoded_item& decoded) {
  if (decoded.unpacked.empty() || !decoded.is_complete || !decoded.trouble.empty()) return true;
  if (how_ == judging::quick && item.size > k_packed_again) {
    faults_.add(severity::note, 0, "not packed again, since it is large (see --thorough)");
    return true;
  }
  if (2 * uint64_t{item.size} + item.compressed_size >= file_.memory_left()) {
    faults_.add(severity::note, 0, "not packed again: --max-size leaves no room");
    found_.is_refused = true;
    return true;
  }
  const size_t same = first_other_byte(item, decoded);
  if (same == item.compressed_size) return true;
  if (same + k_tail >= item.compressed_size && goes_on(item)) {
    fail(item.size, "its packed bytes hold more than its size says");
  } else {
    faults_.add(severity::suspicion, 0,
                "packed again it gives other bytes: it was changed, or another program packed it");
  }
  return false;
}

/// What is in an item against what its type says.
void file_judge::judge_type(const input_item& item, std::string_view bytes) {
  if (!is_known_type(item.type)) {
    fail(0, format_text("no gatherer writes items of type %d", item.type));
  }
  for (const fixed_form& form : k_fixed_forms) {
    if (form.type != item.type) continue;
    if (!bytes.starts_with(form.start) || !bytes.ends_with(form.end)) fail(0, form.trouble);
  }
  const auto header = parse_stored_header(bytes);
  if (item.type == item_stored_file) {
    if (!header) fail(0, "the stored file has no header");
    // With the header it was stored on purpose.
    if (header && begins_as_report(bytes.substr(header->size))) {
      misplaced_.emplace_back(static_cast<int>(found_.items), severity::warning);
    }
  } else if (header) {
    faults_.add(severity::suspicion, 0, "it begins like a stored file, its type is another one");
  } else if (item.type != item_report && begins_as_report(bytes)) {
    misplaced_.emplace_back(static_cast<int>(found_.items), severity::suspicion);
  }
}

/// `oddity` is the level of what would be odd in any file that somebody stored as a report.
void file_judge::judge_contents(const input_item& item, decoded_item decoded, severity oddity) {
  const std::string_view bytes = decoded.text();
  if (item.type == item_report && is_ksml(bytes)) {
    return judge_report(static_cast<int>(found_.items), std::move(decoded));
  }
  ++unguarded_[describe_item(item.type, bytes).words];
  judge_type(item, bytes);
  if (item.type == item_identity) {
    ++identities_;
    check_identity(bytes, faults_);
  }
  if (item.type == item_filescan) check_markup(bytes, severity::fault, faults_);
  if (item.type != item_report) return;
  if (bytes.starts_with("<?xml")) {
    check_markup(bytes, oddity, faults_);
  } else {
    faults_.add(oddity, 0, "the report is of unknown form");
  }
}

void file_judge::judge_report(int number, decoded_item decoded) {
  // Only the last one is the gatherer's own; the others were stored for somebody.
  faults_.append(report_faults_, true);
  report_faults_ = {};
  report_faults_.set_item(number);
  report_number_ = number;
  report_.emplace(opened_report{number, std::move(decoded), {}});
  const report& content = report_->content =
      read_and_check(report_->decoded.text(),
                     file_.memory_left() - report_->decoded.unpacked.size(), report_faults_);
  found_.is_refused = found_.is_refused || content.is_refused;
  found_.sections += content.sections.size();
  for (const report_section& section : content.sections) {
    found_.tables += section.tables.size();
    found_.embedded_files += section.files.size();
    for (const report_table& table : section.tables) found_.rows += table.rows.size();
  }
  if (how_ == judging::thorough) judge_imports(content);
}

/// The sums in imported reports are their writers' own, who need not have known the rules: what is
/// wrong with one is told, and is no fault of the file.
void file_judge::judge_imports(const report& content) {
  for (const imported_file& imported : content.imports) {
    if (imported.body.find(k_report_root) == std::string_view::npos) continue;
    fault_list theirs;
    read_and_check(imported.body, file_.memory_left() / 2, theirs);
    // One went with the first line, which is not copied.
    if (theirs.fault_count() <= 1) continue;
    report_faults_.add(severity::warning, imported.offset,
                       format_text("faults that the imported report has of its own: %zu",
                                   theirs.fault_count() - 1));
    content.locate(report_faults_.all().back().where);
  }
}

/// Complains of a file whose report could not be opened, and returns the status to end with.
int refuse_without_report(const input_file& file) {
  const bool is_refused =
      std::any_of(file.items().begin(), file.items().end(), [&file](const input_item& item) {
        return item.type == item_report && file.decode(item).is_refused;
      });
  complain(file.path(), (is_refused ? "holds no ksml report that --max-size allows; it holds: "
                                    : "holds no ksml report; it holds: ") +
                            describe_contents(file));
  return is_refused ? exit_unreadable : exit_damaged;
}

}  // namespace

exit_status judgement::status() const {
  if (is_refused) return exit_unreadable;
  return faults.is_whole() ? exit_whole : exit_damaged;
}

judgement judge(const input_file& file, judging how, std::optional<opened_report>* opened) {
  file_judge judging_it(file, how);
  judgement found = judging_it.judge();
  if (opened != nullptr) *opened = judging_it.take_report();
  return found;
}

std::optional<opened_report> open_or_complain(const input_file& file, judgement& found,
                                              int& status) {
  std::optional<opened_report> opened;
  found = judge(file, judging::quick, &opened);
  warn(file, found.faults);
  status = opened ? found.status() : refuse_without_report(file);
  return opened;
}

}  // namespace kestrel::ks2
