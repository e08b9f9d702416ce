// The gather file: the container in which all results of a run travel. See gthformat.h for its
// bytes. It is only ever appended to, and the head's item count is written last, so that a run that
// dies leaves a container with the items that were whole.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "gatherer/gthfile_code.h"
#include "gatherer/gthformat.h"
#include "lib/cleanup.h"
#include "lib/file.h"
#include "lib/file_identity.h"

namespace kestrel {

/// Writes and reads one container. Every operation returns a gthfile_code.
class GatherFile {
 public:
  static constexpr int k_max_items = 255;

  GatherFile() = default;
  GatherFile(const GatherFile&) = delete;
  GatherFile& operator=(const GatherFile&) = delete;
  ~GatherFile();

  /// Creates an empty container. Only when it is closed, with an item in it, does it take the name
  /// `path`. Until then it has the temporary one, or the next free: who finds the name finds a
  /// whole one.
  int CreateFile(const char* path, const std::string& temporary_name);
  /// Opens a container for appending; only a regular file that is no link. Of a stuffed one a plain
  /// temporary copy is opened, and what is appended goes with it.
  int ReadFile(const char* path);
  /// Appends the file as an item. When that fails, the container keeps its whole items only; but
  /// an item whose temporary file could not be created is counted, on purpose.
  int AddItemFile(unsigned char type, const char* path, bool compress);
  /// The same with what a stream that can seek holds, from its start; `name` is for the debug log.
  int AddItemFile(unsigned char type, FILE* source, const char* name, bool compress);
  /// A failed close is told as gth_cannot_write, a name that it cannot take as gth_cannot_create:
  /// it then stays under its temporary one. Without an open container gth_ok.
  int CloseFile();
  /// Closes a container that holds no item yet, and removes it, if its name still is its.
  void RemoveFile();
  const char* GetTemporaryName() const;  ///< "" for one that has its name
  bool is_open() const { return file_ != nullptr; }
  /// This moment, in UTC.
  static void GetCurrentDate(gthStamp* stamp);

  /// Goes on with an unstuffed temporary copy of the open container.
  int ReplaceNulls();

  // What the interface promises and no program calls:
  /// Replaces what `path` names by an empty container and opens that. Until it holds an item or is
  /// closed, a signal that ends the run removes it.
  int CreateFile(const char* path);
  /// Writes the item's data to `path`, which must not be the container's. A stored item that the
  /// end of the container cuts is written as far as it goes, and answered with gth_cannot_read.
  int ExtractItem(int index, const char* path);
  /// The first item of that type.
  int ExtractItem(item_type type, const char* path);
  /// A plain number of another type could be meant as either.
  template <class number>
  int ExtractItem(number, const char* path) = delete;
  int NumItems() const;
  unsigned char GetItemType(int index) const;  ///< 0 for an index out of range
  /// Creation time of the open container.
  int GetFileStamp(gthStamp* stamp) const;
  /// Turns a closed plain container into the stuffed form, in place. On failure it stays plain.
  static int RemoveNulls(const char* path);

 private:
  struct item {
    uint8_t type;
    uint32_t offset;
  };

  int start(int descriptor, const char* path);
  void keep();
  int open_for_update(const char* path);
  int read_container();
  int read_item_table(int count);
  void trace_item(unsigned char type, const char* name, bool compress) const;
  int add_source(unsigned char type, FILE* source, const char* name, bool compress,
                 const std::string& temporary_name);
  int add_compressed(unsigned char type, FILE* source, const std::string& temporary_name);
  int add(const gth_record& record, FILE* data);
  int append(const gth_record& record, FILE* data);
  int write_count(int count);

  // For the extraction, which no program calls:
  int extract_compressed(const gth_record& record, FILE* output);

  file_ptr file_;
  file_identity identity_;  ///< of the file that was opened
  noted_file new_;          ///< the container until it has an item, or has its name
  std::string name_;        ///< which it takes when it is closed, "" when it has it from the start
  item items_[k_max_items] = {};
  int count_ = 0;
  gthStamp stamp_ = {};
  int64_t end_ = 0;  ///< where the next record goes
};

/// Little-endian 32-bit field to host order. Promised by the interface; no program calls it.
int le_to_host(int value);

}  // namespace kestrel
