// What the operations of a gather file answer, from the container down to its reading and writing.
#pragma once

namespace kestrel {

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

}  // namespace kestrel
