// Reads a file within the memory limit, finds out by its first bytes what it is, and decodes its
// items; of an item that is damaged or cut it gives what can be read.
#include "tools/ks2/input_file.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <span>

#include "lib/file.h"
#include "lib/lzh.h"
#include "lib/utilstr.h"
#include "tools/ks2/ksml_reader.h"

namespace kestrel::ks2 {

namespace {

constexpr size_t k_ident_start = 6;     ///< letters that both forms have in common
constexpr uint64_t k_beginning = 4096;  ///< bytes that tell what a file is
constexpr size_t k_block = 256 * 1024;
constexpr const char* k_standard_input = "/dev/stdin";
constexpr const char* k_too_large = "is larger than --max-size allows";
constexpr size_t k_longest_header_line = 4096;  ///< no path is longer

struct known_type {
  uint8_t type;
  item_description description;
};
constexpr known_type k_known_types[] = {
    {item_html,        {"HTML report", "html", "report.html"}            },
    {item_identity,    {"machine identity", "identity", "identity.txt"}  },
    {item_sysevent,    {"system events", "sysevent", "sysevent.bin"}     },
    {item_appevent,    {"application events", "appevent", "appevent.bin"}},
    {item_report,      {"report", "report", "report.bin"}                },
    {item_filescan,    {"file scan", "filescan", "filescan.xml"}         },
    {item_postbox,     {"postbox item", "postbox", "postbox.dgml"}       },
    {item_secevent,    {"security events", "secevent", "secevent.bin"}   },
    {item_stored_file, {"stored file", "stored", nullptr}                },
    {item_text,        {"text report", "text", "report.txt"}             },
};

const known_type* find_type(uint8_t type) {
  for (const known_type& known : k_known_types) {
    if (known.type == type) return &known;
  }
  return nullptr;
}

/// Takes "label: value\n" off the text.
bool take_header_line(std::string_view& text, std::string_view label, std::string_view& value) {
  if (!text.starts_with(label)) return false;
  const size_t end = text.substr(0, k_longest_header_line).find('\n');
  if (end == std::string_view::npos) return false;
  value = text.substr(label.size(), end - label.size());
  text.remove_prefix(end + 1);
  return true;
}

bool has_ident(std::string_view bytes) {
  return bytes.starts_with(k_gth_ident.substr(0, k_ident_start));
}

}  // namespace

std::string_view text_of(byte_span bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

input_file::input_file(const char* path, uint64_t max_size)
    : path_(std::string_view(path) == "-" ? k_standard_input : path) {
  if (read(path, max_size)) understand(max_size);
}

input_file::input_file(const char* path, std::vector<unsigned char> bytes, uint64_t max_size)
    : path_(path), bytes_(std::move(bytes)) {
  understand(max_size);
}

void input_file::understand(uint64_t max_size) {
  if (bytes_.size() > max_size) return refuse(exit_unreadable, k_too_large);
  memory_left_ = max_size - bytes_.size();
  if (has_ident(text_of(bytes_))) return read_container();
  if (is_ksml(text_of(bytes_))) return;
  refuse(exit_not_gather_file,
         bytes_.empty() ? "is empty" : "is no gather file and no ksml report");
}

void input_file::refuse(exit_status status, std::string message) {
  status_ = status;
  message_ = std::move(message);
}

bool input_file::is_ours() const { return has_ident(text_of(bytes_)) || is_ksml(text_of(bytes_)); }

bool input_file::read(const char* path, uint64_t max_size) {
  return path == path_ ? read_regular_file(max_size) : read_standard_input(max_size);
}

/// A pipe, too: it is read until it ends, exceeds the limit or turns out to be no file of ours.
bool input_file::read_standard_input(uint64_t max_size) {
  for (size_t got = k_block; got == k_block;) {
    const size_t had = bytes_.size();
    bytes_.resize(had + k_block);
    got = std::fread(bytes_.data() + had, 1, k_block, stdin);
    bytes_.resize(had + got);
    if (had == 0 && !is_ours()) break;
    if (bytes_.size() > max_size) {
      refuse(exit_unreadable, k_too_large);
      return false;
    }
  }
  if (std::ferror(stdin) == 0) return true;
  refuse(exit_unreadable, std::strerror(errno));
  return false;
}

bool input_file::read_regular_file(uint64_t max_size) {
  const file_ptr file = open_regular_file(path_);
  struct stat status;
  if (file == nullptr || fstat(fileno(file.get()), &status) != 0) {
    refuse(exit_unreadable, errno == EINVAL ? "is no regular file" : std::strerror(errno));
    return false;
  }
  const auto size = static_cast<uint64_t>(status.st_size);
  bytes_.resize(static_cast<size_t>(std::min(size, k_beginning)));
  bytes_.resize(std::fread(bytes_.data(), 1, bytes_.size(), file.get()));
  // What is another file altogether is not read whole.
  const bool is_read_whole = is_ours();
  if (is_read_whole && (size > max_size || size > SIZE_MAX / 2)) {
    refuse(exit_unreadable, k_too_large);
    return false;
  }
  if (is_read_whole && bytes_.size() == k_beginning) {
    bytes_.resize(static_cast<size_t>(size));
    // A file that changes meanwhile is read as far as it goes.
    bytes_.resize(k_beginning + std::fread(bytes_.data() + k_beginning, 1,
                                           bytes_.size() - k_beginning, file.get()));
  }
  if (std::ferror(file.get()) != 0) {
    refuse(exit_unreadable, std::strerror(errno));
    return false;
  }
  return true;
}

void input_file::read_container() {
  const bool is_stuffed = text_of(bytes_).starts_with(k_gth_stuffed_ident);
  // The plain form of a stuffed file is never larger, but is another copy of it.
  if (is_stuffed && memory_left_ < bytes_.size()) {
    return refuse(exit_unreadable, "takes more memory than --max-size allows");
  }
  if (is_stuffed) memory_left_ -= bytes_.size();
  container_.emplace(bytes_);
  if (container_->fault() == gth_fault::not_a_gather_file) {
    container_.reset();
    return refuse(exit_not_gather_file, "is no gather file: its ident is another one");
  }
  std::vector<unsigned char> head(
      bytes_.begin(),
      bytes_.begin() + static_cast<std::ptrdiff_t>(std::min(bytes_.size(), 2 * k_gth_head_size)));
  if (is_stuffed) {
    std::vector<unsigned char> plain;
    unstuffer().feed(head, plain);
    head = plain;
  }
  std::copy_n(head.begin(), std::min(head.size(), head_.size()), head_.begin());
  for (const gth_item& item : container_->items()) {
    items_.push_back({item, container_->data(item), false});
  }
  add_cut_item();
}

/// What there is of an item that the end of the file cuts can still be read.
void input_file::add_cut_item() {
  const byte_span rest = container_->rest();
  if (container_->items().size() >= container_->item_count()) return;
  if (rest.size() <= k_gth_record_size) return;
  gth_record_bytes record;
  std::copy_n(rest.begin(), record.size(), record.begin());
  const size_t offset = items_.empty() ? k_gth_head_size : items_.back().end();
  input_item item = {
      {decode_record(record), offset},
      rest.subspan(record.size()), true
  };
  if (item.flag > 1 || item.data_size() < rest.size() - record.size()) return;
  items_.push_back(item);
}

decoded_item input_file::decode(const input_item& item) const {
  decoded_item result;
  if (item.is_compressed() && item.size != item.compressed_size) {
    unpack(item, result);
    return result;
  }
  result.bytes = item.data;
  result.is_complete = !item.is_cut;
  if (!item.is_compressed() && item.compressed_size != 0) {
    result.trouble = format_text("a stored item with a packed size of %u", item.compressed_size);
  }
  return result;
}

void input_file::unpack(const input_item& item, decoded_item& result) const {
  if (item.size > LzH::most_output(item.compressed_size)) {
    result.trouble = format_text("%u packed bytes cannot hold %u", item.compressed_size, item.size);
    return;
  }
  const uint64_t most = std::min<uint64_t>(item.size, LzH::most_output(item.data.size()));
  if (most > memory_left_) {
    result.is_refused = true;
    result.trouble = format_text("its %u bytes are more than --max-size allows", item.size);
    return;
  }
  // A cut stream that happens to be as long as its contents must not be taken for stored.
  const uint64_t room = most + (most == item.data.size() ? 1 : 0);
  result.unpacked.resize(static_cast<size_t>(room));
  const auto coder = std::make_unique<LzH>();
  const bool is_whole = coder->Decode(item.data, result.unpacked) == 0;
  result.unpacked.resize(static_cast<size_t>(std::min(coder->output_made(), most)));
  result.bytes = result.unpacked;
  if (item.is_cut) return;
  result.is_complete = is_whole;
  if (!is_whole) {
    result.trouble =
        format_text("%u packed bytes are too few for %u", item.compressed_size, item.size);
  } else if (coder->input_used() != item.compressed_size) {
    result.trouble =
        format_text("%u bytes need %llu of the %u packed ones", item.size,
                    static_cast<unsigned long long>(coder->input_used()), item.compressed_size);
  }
}

std::optional<stored_header> parse_stored_header(std::string_view bytes) {
  stored_header header;
  std::string_view rest = bytes;
  if (!take_header_line(rest, "Filename: ", header.name)) return std::nullopt;
  if (!take_header_line(rest, "MIME-Type: ", header.mime_type)) return std::nullopt;
  if (!rest.starts_with('\n')) return std::nullopt;
  header.size = bytes.size() - rest.size() + 1;
  return header;
}

item_description describe_item(uint8_t type, std::string_view contents) {
  const known_type* const known = find_type(type);
  if (known == nullptr) return {"unknown", "unknown", "unknown.bin"};
  if (type != item_report) return known->description;
  if (is_ksml(contents)) return {"ksml report", "report", "report.ksml"};
  const std::string_view start = contents.substr(0, 4096);
  if (start.find("<InventoryTable ") != std::string_view::npos) {
    return {"TALV report", "report", "report.xml"};
  }
  if (start.starts_with("<?xml")) return {"XML report", "report", "report.xml"};
  return {"report of unknown form", "report", "report.bin"};
}

bool is_known_type(uint8_t type) { return find_type(type) != nullptr; }

std::vector<const char*> item_file_names() {
  std::vector<const char*> names = {"report.ksml", "report.xml", "unknown.bin"};
  for (const known_type& known : k_known_types) {
    if (known.description.file_name != nullptr) names.push_back(known.description.file_name);
  }
  return names;
}

std::optional<uint8_t> type_named(std::string_view name) {
  for (const known_type& known : k_known_types) {
    if (name == known.description.type_name) return known.type;
  }
  return std::nullopt;
}

}  // namespace kestrel::ks2
