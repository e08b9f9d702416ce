// Heads, stamps and records of a gather file as bytes and back, the stuffed form, and the reader of
// a container in memory: it believes no size and keeps the whole items before the first fault.
#include "gatherer/gthformat.h"

#include <algorithm>
#include <cstring>

namespace kestrel {

namespace {

constexpr unsigned char k_escape = 0xFF;
constexpr unsigned char k_escaped_zero = 0x01;

bool begins_with(const gth_head_bytes& head, std::string_view text) {
  return std::memcmp(head.data(), text.data(), text.size()) == 0;
}

}  // namespace

gth_head_bytes encode_head(const gthStamp& stamp) {
  gth_head_bytes head = {};
  set_ident(head, k_gth_ident);
  std::copy(k_gth_fixed.begin(), k_gth_fixed.end(), head.begin() + k_gth_fixed_offset);
  field_writer fields(std::span<unsigned char>(head).subspan(k_gth_stamp_offset));
  for (const uint8_t part : {stamp.hour, stamp.minute, stamp.second, stamp.day, stamp.month}) {
    fields.put_u8(part);
  }
  fields.put_u16(stamp.year);
  return head;
}

gthStamp decode_stamp(const gth_head_bytes& head) {
  cursor bytes(head, k_gth_stamp_offset);
  gthStamp stamp;
  stamp.hour = bytes.get_u8();
  stamp.minute = bytes.get_u8();
  stamp.second = bytes.get_u8();
  stamp.day = bytes.get_u8();
  stamp.month = bytes.get_u8();
  stamp.year = bytes.get_u16();
  return stamp;
}

bool has_plain_ident(const gth_head_bytes& head) {
  return begins_with(head, k_gth_ident) && head[k_gth_ident.size()] == 0;
}

bool has_stuffed_ident(const gth_head_bytes& head) {
  return begins_with(head, k_gth_stuffed_ident);
}

void set_ident(gth_head_bytes& head, std::string_view ident) {
  std::copy(ident.begin(), ident.end(), head.begin());
}

gth_record_bytes encode_record(const gth_record& record) {
  gth_record_bytes bytes = {};
  field_writer fields(bytes);
  fields.put_u8(record.type);
  fields.put_u32(record.size);
  fields.put_u8(record.flag);
  fields.put_u32(record.compressed_size);
  return bytes;
}

gth_record decode_record(const gth_record_bytes& bytes) {
  cursor fields{byte_span(bytes)};
  gth_record record;
  record.type = fields.get_u8();
  record.size = fields.get_u32();
  record.flag = fields.get_u8();
  record.compressed_size = fields.get_u32();
  return record;
}

void stuff(byte_span plain, std::vector<unsigned char>& stuffed) {
  for (const unsigned char byte : plain) {
    if (byte == 0 || byte == k_escape) stuffed.push_back(k_escape);
    stuffed.push_back(byte == 0 ? k_escaped_zero : byte);
  }
}

bool unstuffer::feed(byte_span stuffed, std::vector<unsigned char>& plain) {
  for (const unsigned char byte : stuffed) {
    ++offset_;
    last_ = byte;
    if (escaped_) {
      if (byte != k_escape && byte != k_escaped_zero) return false;
      plain.push_back(byte == k_escape ? byte : 0);
      escaped_ = false;
    } else if (byte == k_escape) {
      escaped_ = true;
    } else {
      plain.push_back(byte);
    }
  }
  return true;
}

gth_container::gth_container(byte_span file) : plain_(file) {
  gth_head_bytes head = {};
  std::copy_n(file.begin(), std::min(file.size(), head.size()), head.begin());
  stuffed_ = has_stuffed_ident(head);
  if (stuffed_) unstuff(file);
  if (plain_.size() < head.size()) {
    set_fault(gth_fault::head_cut, plain_.size());
    return;
  }
  std::copy_n(plain_.begin(), head.size(), head.begin());
  if (stuffed_) set_ident(head, k_gth_ident);
  if (!has_plain_ident(head)) {
    set_fault(gth_fault::not_a_gather_file, 0);
    return;
  }
  stamp_ = decode_stamp(head);
  item_count_ = head[k_gth_count_offset];
  read_items();
}

void gth_container::unstuff(byte_span file) {
  unstuffer form;
  unstuffed_.reserve(file.size());
  if (!form.feed(file, unstuffed_) || !form.is_complete()) {
    set_fault(gth_fault::stuffing, static_cast<size_t>(form.offset()));
  }
  plain_ = unstuffed_;
}

void gth_container::read_items() {
  cursor bytes(plain_, k_gth_head_size);
  end_ = bytes.position();
  while (items_.size() < item_count_) {
    const byte_span record = bytes.take(k_gth_record_size);
    if (bytes.failed()) return set_fault(gth_fault::record_cut, end_);
    gth_record_bytes copy = {};
    std::copy(record.begin(), record.end(), copy.begin());
    const gth_item item = {decode_record(copy), end_};
    if (item.flag > 1) return set_fault(gth_fault::unknown_flag, end_);
    bytes.skip(item.data_size());
    if (bytes.failed()) return set_fault(gth_fault::data_cut, end_);
    items_.push_back(item);
    end_ = bytes.position();
  }
}

/// The first one counts: what comes later may only follow from it.
void gth_container::set_fault(gth_fault fault, size_t offset) {
  if (fault_ != gth_fault::none) return;
  fault_ = fault;
  fault_offset_ = offset;
}

byte_span gth_container::data(const gth_item& item) const {
  return plain_.subspan(item.offset + k_gth_record_size, item.data_size());
}

byte_span gth_container::rest() const { return plain_.subspan(end_); }

}  // namespace kestrel
