// ks2 extract FILE [ITEM...]
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>

#include "gatherer/gthformat.h"
#include "lib/ascii.h"
#include "lib/utilstr.h"
#include "tools/ks2/command.h"
#include "tools/ks2/open_report.h"
#include "tools/ks2/progress.h"
#include "tools/ks2/safe_output.h"
#include "tools/ks2/shown_text.h"
#include "tools/ks2/terminal.h"

namespace kestrel::ks2 {

namespace {

/// Whether `list` shows the word of the item: what it is, or the name of a stored file.
bool is_listed_as(const input_file& file, const input_item& item, const char* word) {
  const decoded_item decoded = file.decode(item);
  if (same_word(word, describe_item(item.type, decoded.text()).words)) return true;
  const auto header =
      item.type == item_stored_file ? parse_stored_header(decoded.text()) : std::nullopt;
  return header && (word == header->name || word == shown(header->name));
}

/// The indices of the items that an operand names; false when it names none.
bool select(const input_file& file, const char* operand, std::vector<size_t>& selected) {
  const size_t before = selected.size();
  std::string_view digits = operand;
  int64_t number;
  if (scan_decimal(digits, number) && digits.empty()) {
    if (number < 1 || static_cast<uint64_t>(number) > file.items().size()) return false;
    selected.push_back(static_cast<size_t>(number - 1));
    return true;
  }
  const auto type = type_named(operand);
  for (size_t i = 0; i < file.items().size(); ++i) {
    const input_item& item = file.items()[i];
    if (type ? item.type == *type : is_listed_as(file, item, operand)) selected.push_back(i);
  }
  return selected.size() > before;
}

/// The first of each stays where it is.
void remove_repetitions(std::vector<size_t>& selected) {
  std::set<size_t> seen;
  std::erase_if(selected, [&seen](size_t index) { return !seen.insert(index).second; });
}

/// What is written of an item.
struct content {
  decoded_item decoded;
  std::string_view bytes;
  std::string name;  ///< wanted for the file
  bool is_named_by_type;
};

content read_content(const input_file& file, size_t index, bool is_raw) {
  content found = {file.decode(file.items()[index]), {}, {}, false};
  const uint8_t type = file.items()[index].type;
  found.bytes = found.decoded.text();
  const item_description description = describe_item(type, found.bytes);
  const auto header = type == item_stored_file ? parse_stored_header(found.bytes) : std::nullopt;
  if (header && !is_raw) found.bytes.remove_prefix(header->size);
  if (header) found.name = safe_file_name(header->name);
  found.is_named_by_type = description.file_name != nullptr;
  if (found.is_named_by_type) found.name = description.file_name;
  if (found.name.empty()) found.name = format_text("item-%zu", index + 1);
  return found;
}

void write_bytes(std::string_view bytes, FILE* out) {
  if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), out);
}

class extraction {
 public:
  extraction(const input_file& file, const arguments& given) : file_(file), given_(given) {
    for (const char* name : item_file_names()) names_.reserve(name);
  }

  int run();

 private:
  bool open_folder();
  int write_item(size_t index);
  int write_to_output(size_t index);
  int check(size_t index, const decoded_item& decoded);

  const input_file& file_;
  const arguments& given_;
  output_folder folder_;
  name_giver names_;
};

int extraction::run() {
  std::vector<size_t> selected;
  for (size_t i = 1; i < given_.operands.size(); ++i) {
    if (!select(file_, given_.operands[i], selected)) {
      complain(given_.operands[i], "the file has no such item");
      return exit_usage;
    }
  }
  for (size_t i = 0; given_.operands.size() == 1 && i < file_.items().size(); ++i) {
    selected.push_back(i);
  }
  remove_repetitions(selected);
  fault_list faults;
  check_container(file_, faults);
  int status = warn(file_, faults);
  if (given_.output != nullptr) {
    if (selected.size() != 1) {
      complain(file_.path(),
               format_text("one item can go to standard output, not %zu", selected.size()));
      return exit_usage;
    }
    return std::max(status, write_to_output(selected[0]));
  }
  if (!open_folder()) {
    complain(folder_.path(), std::strerror(errno));
    return exit_damaged;
  }
  for (const size_t index : selected) status = std::max(status, write_item(index));
  return finish_output(status);
}

bool extraction::open_folder() {
  if (given_.folder != nullptr) return folder_.open(given_.folder);
  std::string name = safe_file_name(file_.path());
  const size_t dot = name.rfind('.');
  if (dot != std::string::npos && dot > 0) name.resize(dot);
  return folder_.create_new(name.empty() ? "gather-file" : name);
}

/// Tells what is wrong with an item, which is written all the same, as far as it goes.
int extraction::check(size_t index, const decoded_item& decoded) {
  fault_list faults;
  faults.set_item(static_cast<int>(index + 1));
  check_decoding(file_.items()[index], decoded, faults);
  const int status = warn(file_, faults);
  return decoded.is_refused ? exit_unreadable : status;
}

int extraction::write_to_output(size_t index) {
  content found;
  {
    progress_stage stage(format_text("%s: item %zu", file_.path(), index + 1));
    found = read_content(file_, index, given_.raw);
  }
  const int status = check(index, found.decoded);
  if (isatty(STDOUT_FILENO) != 0) {
    // Whatever a terminal would act upon is shown as U+FFFD; a pipe gets the bytes.
    text_output(stdout, audience::people).write(shown_reader({found.bytes}, true));
  } else {
    write_bytes(found.bytes, stdout);
  }
  return finish_output(status);
}

int extraction::write_item(size_t index) {
  progress_stage stage(format_text("%s: item %zu", file_.path(), index + 1));
  const content found = read_content(file_, index, given_.raw);
  const int status = check(index, found.decoded);
  if (found.decoded.is_refused) return status;
  const std::string name = names_.unused_name(found.name, found.is_named_by_type);
  const std::string path = folder_.path() + "/" + name;
  if (is_same_file(folder_.descriptor(), name.c_str(), file_.path())) {
    complain(path, "is the input itself");
    return exit_usage;
  }
  new_file out;
  if (!out.create(folder_.descriptor(), name, given_.force)) {
    complain(path, creation_trouble(errno));
    return exit_damaged;
  }
  write_bytes(found.bytes, out.get());
  if (!out.finish()) {
    complain(path, std::strerror(errno));
    return exit_damaged;
  }
  print_text(stdout, shown(path) + "\n");
  return status;
}

}  // namespace

int run_extract(const arguments& given) {
  if (given.output != nullptr && std::string_view(given.output) != "-") {
    complain("extract", "the output is a folder (-d) or \"-\"");
    return exit_usage;
  }
  const input_file file(given.operands[0], given.max_size);
  if (file.status() != exit_whole) return refuse(file);
  if (!file.is_gather_file()) {
    complain(file.path(), "is a loose report: there is nothing to extract");
    return exit_not_gather_file;
  }
  return extraction(file, given).run();
}

}  // namespace kestrel::ks2
