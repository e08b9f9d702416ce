// The bytes of a gather file, a flat little-endian container of typed items:
//
//   head    "_KESTREL_" 00, stamp (7), 00, 02, item count (1)                     20 bytes
//   stamp   hour, minute, second, day, month (1 each), year (2), UTC
//   item    type (1), size (4), compressed flag (1), compressed size (4), data
//
// The stuffed form ("_KESTRFF_") holds no zero byte: 00 is written FF 01, FF is written FF FF.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "lib/cursor.h"

namespace kestrel {

/// Creation time in UTC.
struct gthStamp {
  uint8_t hour, minute, second, day, month;
  uint16_t year;
};

/// The letters of both idents; in the head a zero byte follows them.
inline constexpr std::string_view k_gth_ident = "_KESTREL_";
inline constexpr std::string_view k_gth_stuffed_ident = "_KESTRFF_";
static_assert(k_gth_ident.size() == k_gth_stuffed_ident.size());

/// Sizes and places in bytes, as drawn above.
inline constexpr size_t k_gth_head_size = 20;
inline constexpr size_t k_gth_record_size = 10;
inline constexpr size_t k_gth_stamp_offset = k_gth_ident.size() + 1;
inline constexpr size_t k_gth_fixed_offset = 17;
inline constexpr size_t k_gth_count_offset = 19;
/// What stands at k_gth_fixed_offset in every head.
inline constexpr std::array<unsigned char, 2> k_gth_fixed = {0, 2};

/// Item types that the system writes.
enum item_type : int {
  item_html = 0,
  item_identity = 1,
  item_sysevent = 13,
  item_appevent = 14,
  item_report = 15,
  item_filescan = 17,
  item_postbox = 18,
  item_secevent = 20,
  item_stored_file = 66,
  item_text = 254,
};

/// The identity block has a line for each of them, in this order, which begins with it.
inline constexpr std::string_view k_identity_letters = "CVMSUTLK";

using gth_head_bytes = std::array<unsigned char, k_gth_head_size>;
using gth_record_bytes = std::array<unsigned char, k_gth_record_size>;

/// The head of a new container.
gth_head_bytes encode_head(const gthStamp& stamp);
gthStamp decode_stamp(const gth_head_bytes& head);
/// The letters are those of the plain form, and the zero byte is there.
bool has_plain_ident(const gth_head_bytes& head);
/// The letters are those of the stuffed form; the zero byte behind them may be stuffed.
bool has_stuffed_ident(const gth_head_bytes& head);
/// Overwrites the letters; the zero byte behind them stays what it is.
void set_ident(gth_head_bytes& head, std::string_view ident);

/// What precedes the data of an item.
struct gth_record {
  uint8_t type;
  uint32_t size;             ///< of the item, uncompressed
  uint8_t flag;              ///< 1: the data is LzH-compressed, else it is stored
  uint32_t compressed_size;  ///< 0 when stored

  bool is_compressed() const { return flag == 1; }
  /// Of the data that follows the record.
  uint32_t data_size() const { return is_compressed() ? compressed_size : size; }
};
gth_record_bytes encode_record(const gth_record& record);
gth_record decode_record(const gth_record_bytes& bytes);

/// Appends the stuffed form of `plain`.
void stuff(byte_span plain, std::vector<unsigned char>& stuffed);

/// Undoes the stuffing, block by block.
class unstuffer {
 public:
  /// Appends the plain form. False at a malformed pair; nothing may follow then.
  bool feed(byte_span stuffed, std::vector<unsigned char>& plain);
  /// False when the last byte began a pair.
  bool is_complete() const { return !escaped_; }
  /// Bytes read so far, the bad one included, and the last of them.
  uint64_t offset() const { return offset_; }
  unsigned char last() const { return last_; }

 private:
  bool escaped_ = false;
  unsigned char last_ = 0;
  uint64_t offset_ = 0;
};

/// What is wrong with a container.
enum class gth_fault {
  none,
  head_cut,           ///< too short for a head
  not_a_gather_file,  ///< another ident
  stuffing,           ///< FF followed by neither 01 nor FF; the offset is that of the stuffed form
  record_cut,         ///< the file ends inside an item's record
  data_cut,           ///< an item's data ends after the file does
  unknown_flag,       ///< a compressed flag other than 0 and 1
};

/// An item of a container in memory.
struct gth_item : gth_record {
  size_t offset;  ///< of the record, in the plain form
};

/// A container in memory, read without trusting it. `file` must outlive the object.
class gth_container {
 public:
  explicit gth_container(byte_span file);
  gth_container(const gth_container&) = delete;
  gth_container& operator=(const gth_container&) = delete;

  gth_fault fault() const { return fault_; }
  size_t fault_offset() const { return fault_offset_; }
  bool is_stuffed() const { return stuffed_; }
  const gthStamp& stamp() const { return stamp_; }
  /// Items that the head counts; with a fault more than there are in items().
  size_t item_count() const { return item_count_; }
  /// The whole items before the fault.
  const std::vector<gth_item>& items() const { return items_; }
  /// The stored bytes of one of items(); as long as this object lives.
  byte_span data(const gth_item& item) const;
  /// Bytes behind the last whole item: what a killed run left, or what the fault is about.
  byte_span rest() const;

 private:
  void unstuff(byte_span file);
  void read_items();
  void set_fault(gth_fault fault, size_t offset);

  byte_span plain_;
  std::vector<unsigned char> unstuffed_;
  gth_fault fault_ = gth_fault::none;
  size_t fault_offset_ = 0;
  bool stuffed_ = false;
  gthStamp stamp_ = {};
  size_t item_count_ = 0;
  std::vector<gth_item> items_;
  size_t end_ = 0;
};

}  // namespace kestrel
