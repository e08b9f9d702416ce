// See verify.h.
#include "tools/ks2/verify.h"

#include <algorithm>
#include <map>
#include <memory>

#include "gatherer/gthfile.h"
#include "lib/lzh.h"
#include "lib/utilstr.h"
#include "tools/ks2/ksml_reader.h"
#include "tools/ks2/open_report.h"
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

class file_verifier {
 public:
  file_verifier(const input_file& file, bool is_thorough, fault_list& faults)
      : file_(file), is_thorough_(is_thorough), faults_(faults) {}

  verified_parts verify();

 private:
  void verify_item(size_t index);
  bool verify_packing(const input_item& item, const decoded_item& decoded);
  void verify_contents(const input_item& item, const decoded_item& decoded, severity oddity);
  void verify_report(std::string_view bytes, uint64_t memory);
  void check_identities();

  const input_file& file_;
  const bool is_thorough_;
  fault_list& faults_;
  verified_parts parts_;
  size_t identities_ = 0;
  fault_list report_faults_;              ///< of the last ksml report so far
  std::map<std::string, int> unguarded_;  ///< what carries no sum, how often
};

verified_parts file_verifier::verify() {
  check_container(file_, faults_);
  if (file_.is_gather_file()) {
    for (size_t i = 0; i < file_.items().size(); ++i) verify_item(i);
    faults_.set_item(0);
    check_identities();
  } else {
    verify_report(text_of(file_.bytes()), file_.memory_left());
  }
  faults_.append(report_faults_, false);
  for (const auto& [words, count] : unguarded_) {
    if (!parts_.without_sums.empty()) parts_.without_sums += ", ";
    parts_.without_sums += words;
    if (count > 1) parts_.without_sums += format_text(" (%d)", count);
  }
  sort_faults(faults_);
  return parts_;
}

void file_verifier::check_identities() {
  if (identities_ == 1 || file_.container().fault() != gth_fault::none) return;
  faults_.add(severity::fault, k_gth_head_size,
              identities_ == 0 ? "there is no identity block"
                               : format_text("there are %zu identity blocks", identities_));
}

void file_verifier::verify_item(size_t index) {
  const input_item& item = file_.items()[index];
  progress_stage stage(
      format_text("%s: item %zu of %zu", file_.path(), index + 1, file_.items().size()));
  faults_.set_item(static_cast<int>(index + 1));
  ++parts_.items;
  const decoded_item decoded = file_.decode(item);
  check_decoding(item, decoded, faults_);
  parts_.is_refused = parts_.is_refused || decoded.is_refused;
  if (decoded.is_refused) return;
  const bool is_as_packed = verify_packing(item, decoded);
  verify_contents(item, decoded, is_as_packed ? severity::warning : severity::fault);
}

/// False when the contents, packed again, give other bytes.
bool file_verifier::verify_packing(const input_item& item, const decoded_item& decoded) {
  if (decoded.unpacked.empty() || !decoded.is_complete || !decoded.trouble.empty()) return true;
  if (!is_thorough_ && item.size > k_packed_again) {
    faults_.add(severity::note, 0, "not packed again, since it is large (see --thorough)");
    return true;
  }
  if (2 * uint64_t{item.size} + item.compressed_size >= file_.memory_left()) {
    faults_.add(severity::note, 0, "not packed again: --max-size leaves no room");
    parts_.is_refused = true;
    return true;
  }
  const size_t same = first_other_byte(item, decoded);
  if (same == item.compressed_size) return true;
  if (same + k_tail >= item.compressed_size && goes_on(item)) {
    faults_.add(severity::fault, item.size, "its packed bytes hold more than its size says");
  } else {
    faults_.add(severity::warning, 0,
                "packed again it gives other bytes: it was changed, or another program packed it");
  }
  return false;
}

/// `oddity` is the level of what would be odd in any file that somebody stored as a report.
void file_verifier::verify_contents(const input_item& item, const decoded_item& decoded,
                                    severity oddity) {
  const std::string_view bytes = decoded.text();
  if (item.type == item_report && is_ksml(bytes)) {
    // Only the last one is the gatherer's own; the others were stored for somebody.
    faults_.append(report_faults_, true);
    report_faults_ = {};
    report_faults_.set_item(static_cast<int>(parts_.items));
    return verify_report(bytes, file_.memory_left() - decoded.unpacked.size());
  }
  ++unguarded_[describe_item(item.type, bytes).words];
  if (!is_known_type(item.type)) {
    faults_.add(severity::fault, 0, format_text("no gatherer writes items of type %d", item.type));
  }
  if (item.type == item_identity) {
    ++identities_;
    check_identity(bytes, faults_);
  }
  if (item.type == item_stored_file && !parse_stored_header(bytes)) {
    faults_.add(severity::fault, 0, "the stored file has no header");
  }
  if (item.type == item_filescan) check_markup(bytes, severity::fault, faults_);
  if (item.type != item_report) return;
  if (bytes.starts_with("<?xml")) {
    check_markup(bytes, oddity, faults_);
  } else {
    faults_.add(oddity, 0, "the report is of unknown form");
  }
}

void file_verifier::verify_report(std::string_view bytes, uint64_t memory) {
  const report content = read_and_check(bytes, memory, report_faults_);
  parts_.is_refused = parts_.is_refused || content.is_refused;
  parts_.sections += content.sections.size();
  for (const report_section& section : content.sections) {
    parts_.tables += section.tables.size();
    parts_.embedded_files += section.files.size();
    for (const report_table& table : section.tables) parts_.rows += table.rows.size();
  }
}

}  // namespace

verified_parts verify(const input_file& file, bool is_thorough, fault_list& faults) {
  return file_verifier(file, is_thorough, faults).verify();
}

}  // namespace kestrel::ks2
