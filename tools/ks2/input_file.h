// A file that came from outside: a gather file in either form, or a loose ksml report. It is only
// ever read, and nothing in it is believed: no size is allocated before it is compared with what
// the bytes can hold and with the limit.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "gatherer/gthformat.h"
#include "tools/ks2/fault.h"

namespace kestrel::ks2 {

inline constexpr uint64_t k_default_max_size = uint64_t{1} << 30;

std::string_view text_of(byte_span bytes);

/// An item as the container has it.
struct input_item : gth_item {
  byte_span data;       ///< what there is of it
  bool is_cut = false;  ///< the file ends before the data does

  /// Offset behind the data, in the container's plain form.
  size_t end() const { return offset + k_gth_record_size + data_size(); }
};

/// An item's contents.
struct decoded_item {
  std::vector<unsigned char> unpacked;  ///< empty for a stored item
  byte_span bytes;                      ///< the contents, in `unpacked` or in the file
  bool is_complete = false;             ///< all of them
  bool is_refused = false;              ///< nothing is wrong but that they exceed the limit
  std::string trouble;                  ///< why not, or what else is wrong; empty: nothing

  decoded_item() = default;
  decoded_item(decoded_item&&) = default;
  decoded_item& operator=(decoded_item&&) = default;

  std::string_view text() const { return text_of(bytes); }
};

class input_file {
 public:
  /// Reads the file whole, "-" is standard input. On failure nothing can be asked but status(),
  /// message() and path().
  input_file(const char* path, uint64_t max_size);
  /// The same for a file that is in memory already; for the tests, no program calls it.
  input_file(const char* path, std::vector<unsigned char> bytes, uint64_t max_size);
  input_file(const input_file&) = delete;
  input_file& operator=(const input_file&) = delete;

  /// exit_whole, exit_not_gather_file or exit_unreadable.
  exit_status status() const { return status_; }
  const std::string& message() const { return message_; }
  /// Of standard input the one that the system has for it.
  const char* path() const { return path_; }

  bool is_gather_file() const { return container_.has_value(); }
  /// Only of a gather file.
  const gth_container& container() const { return *container_; }
  /// The head in its plain form, its ident as it stands in the file; zeros behind what there is.
  const gth_head_bytes& head() const { return head_; }
  /// The whole items, and the one that is cut by the end of the file, if there is one.
  const std::vector<input_item>& items() const { return items_; }

  byte_span bytes() const { return bytes_; }
  /// Memory that the limit leaves for other things.
  uint64_t memory_left() const { return memory_left_; }

  /// Unpacks an item; what can be had of a damaged one too. Never more than the limit leaves.
  decoded_item decode(const input_item& item) const;

 private:
  bool read(const char* path, uint64_t max_size);
  bool read_regular_file(uint64_t max_size);
  bool read_standard_input(uint64_t max_size);
  bool is_ours() const;
  void understand(uint64_t max_size);
  void read_container();
  void add_cut_item();
  void unpack(const input_item& item, decoded_item& result) const;
  void refuse(exit_status status, std::string message);

  const char* path_;
  std::vector<unsigned char> bytes_;
  std::optional<gth_container> container_;
  gth_head_bytes head_ = {};
  std::vector<input_item> items_;
  uint64_t memory_left_ = 0;
  exit_status status_ = exit_whole;
  std::string message_;
};

/// The two lines in front of a stored file, "Filename: " and "MIME-Type: ", and the empty one.
struct stored_header {
  std::string_view name;
  std::string_view mime_type;
  size_t size;  ///< of the header
};
/// Nothing when the bytes do not begin with a whole header, or with one whose lines are longer than
/// 4 KiB.
std::optional<stored_header> parse_stored_header(std::string_view bytes);

/// What an item is.
struct item_description {
  const char* words;      ///< for people: "ksml report"
  const char* type_name;  ///< for the command line: "report"
  const char* file_name;  ///< under which it is extracted; null: a stored file, named by its header
};
/// `contents` tells the kinds of report apart.
item_description describe_item(uint8_t type, std::string_view contents);
bool is_known_type(uint8_t type);
/// All file names that descriptions give.
std::vector<const char*> item_file_names();
/// The type with that name; nothing for an unknown one.
std::optional<uint8_t> type_named(std::string_view name);

}  // namespace kestrel::ks2
