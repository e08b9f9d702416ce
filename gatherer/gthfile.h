// The gather file: the container in which all results of a run travel. See gthformat.h for its
// bytes. It is only ever appended to, and the head's item count is written last, so that a run that
// dies leaves a container with the items that were whole.
#pragma once

#include <cstdint>
#include <cstdio>

#include "gatherer/gthformat.h"
#include "lib/file.h"

namespace kestrel {

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

/// Result codes of all operations. Where the system refused something, errno tells why.
enum gthfile_code : int {
  gth_ok = 0,
  gth_bad_argument = -1,  ///< null path, no open file, index out of range
  gth_cannot_open = -2,   ///< a file could not be opened, or is too large to be added
  gth_cannot_create = -3,
  gth_table_full = -4,    ///< 255 items already, or no temporary file
  gth_cannot_read = -5,   ///< a head or record, or data that ends early
  gth_cannot_write = -6,  ///< or a malformed stuffed form
  gth_no_such_item = -8,
  gth_codec_failed = -9,
  gth_not_a_gather_file = -10,
};

/// Writes and reads one container. Every operation returns a gthfile_code.
class GatherFile {
 public:
  static constexpr int k_max_items = 255;

  GatherFile() = default;
  GatherFile(const GatherFile&) = delete;
  GatherFile& operator=(const GatherFile&) = delete;
  ~GatherFile();

  /// Replaces what `path` names by an empty container and opens that.
  int CreateFile(const char* path);
  /// Opens a container for appending; only a regular file that is no link. Of a stuffed one a plain
  /// temporary copy is opened, and what is appended goes with it.
  int ReadFile(const char* path);
  /// Appends the file as an item. When that fails, the container keeps its whole items only; but
  /// an item whose temporary file could not be created is counted, on purpose.
  int AddItemFile(unsigned char type, const char* path, bool compress);
  /// Writes the item's data to `path`. A stored item that the end of the container cuts is written
  /// as far as it goes, and answered with gth_cannot_read.
  int ExtractItem(int index, const char* path);
  /// The first item of that type.
  int ExtractItem(unsigned char type, const char* path);
  int NumItems() const;
  unsigned char GetItemType(int index) const;  ///< 0 for an index out of range
  /// Creation time of the open container.
  int GetFileStamp(gthStamp* stamp) const;
  /// A failed close is told as gth_cannot_write; without an open container gth_ok.
  int CloseFile();
  bool is_open() const { return file_ != nullptr; }
  /// This moment, in UTC.
  static void GetCurrentDate(gthStamp* stamp);

  /// Turns a closed plain container into the stuffed form, in place. On failure it stays plain.
  static int RemoveNulls(const char* path);
  /// Goes on with an unstuffed temporary copy of the open container.
  int ReplaceNulls();

 private:
  struct item {
    uint8_t type;
    uint32_t offset;
  };

  int open_for_update(const char* path);
  int read_container();
  int read_item_table(int count);
  int add_compressed(unsigned char type, FILE* source, const char* temporary_name);
  int add(const gth_record& record, FILE* data);
  int append(const gth_record& record, FILE* data);
  int write_count(int count);
  int extract_compressed(const gth_record& record, FILE* output);

  file_ptr file_;
  item items_[k_max_items] = {};
  int count_ = 0;
  gthStamp stamp_ = {};
  int64_t end_ = 0;  ///< where the next record goes
};

/// Little-endian 32-bit field to host order.
int le_to_host(int value);

}  // namespace kestrel
