// A file that the user named on the command line, stored in the way its option asks.
#pragma once

#include <string>

#include "gatherer/task.h"

namespace kestrel {

/// The way in which a file is stored.
enum generic_file_type {
  FILE_ASCII = 0,     ///< item 66, printable ASCII
  FILE_TEXT = 1,      ///< item 66, converted to UTF-8
  FILE_BINARY = 2,    ///< item 66, unchanged
  FILE_DGML = 3,      ///< item 18
  FILE_KSML = 4,      ///< imported into the report
  FILE_KESTREL2 = 5,  ///< item 15, as a report is
  FILE_SYSEVENT = 6,  ///< item 13
  FILE_APPEVENT = 7,  ///< item 14
  FILE_SECEVENT = 8,  ///< item 20
};

/// Stores one file, or imports it, while a gather file is open; false when that failed.
class zeng_task : public task {
 public:
  /// Registered under the file's name, which must outlive the task.
  explicit zeng_task(const char* filename);

  /// Reads one file option at argv[*index] and leaves the index on the last argument consumed. The
  /// task it makes lives until the program ends.
  static void create_zeng_task(int argc, const wchar_t** argv, int* index);

  virtual void set_filename(const wchar_t* filename);
  /// Not copied; may be null.
  virtual void set_mime_type(const char* mime_type);
  virtual void set_file_type(generic_file_type file_type);

  bool test() override;
  bool run(FILE* current) override;

 private:
  bool store_plain(int item_type);

  std::string filename_;
  const char* mime_type_ = nullptr;
  generic_file_type file_type_ = FILE_BINARY;
};

}  // namespace kestrel
