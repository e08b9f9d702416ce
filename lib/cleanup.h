// How a signal ends the run. While it gathers, the first one asks it to stop (lib/stop.h): it
// closes its files and ends by that signal. Before and after that, and for whoever does not want to
// wait, the handler itself removes what must not be left behind: temporary files, half a container
// item. The notes are fixed memory, so that the handler may read them at any moment.
#pragma once

#include "lib/file_identity.h"

namespace kestrel {

/// A file that does not outlive a run which a signal ends, noted for as long as the object does
/// not forget it; 16 at a time.
class noted_file {
 public:
  noted_file() = default;
  noted_file(const noted_file&) = delete;
  noted_file& operator=(const noted_file&) = delete;
  ~noted_file() { forget(); }

  /// Creates `path` (4095 bytes at most) exclusively, with mode 0600, and notes it; what was noted
  /// before is forgotten. The descriptor, for reading and writing and closed on exec, is the
  /// caller's. -1 on failure with errno: EEXIST when the name is taken, EMFILE when there is no
  /// room for a note.
  int create(const char* path);
  bool is_kept() const;      ///< after `keep_as`
  const char* path() const;  ///< "" when none is noted
  /// Whether the name is still that of the file.
  bool is_there() const;
  /// Removes the file, never another one that took its name, and forgets it.
  void remove();
  /// From now on the file is to stay.
  void forget();
  /// From now on a signal that ends the run does not remove the file but calls it `name` (4095
  /// bytes at most), and so does `rename`.
  void keep_as(const char* name);
  /// Gives it that name, replacing what has it, and forgets it. False with errno: it then stays
  /// where it is.
  bool rename();

 private:
  int slot_ = -1;
};

/// While the object lives, a signal that ends the run cuts the open file back to `length` bytes.
/// One such object at a time.
class unfinished_write_note {
 public:
  unfinished_write_note(int descriptor, long long length);
  unfinished_write_note(const unfinished_write_note&) = delete;
  unfinished_write_note& operator=(const unfinished_write_note&) = delete;
  ~unfinished_write_note();
};

/// A signal that ends the run removes this empty folder; when it holds a file, that stays, and
/// `is_told` says whether standard error gets a line about it. Null forgets it.
void note_private_folder(const char* path, bool is_told);

/// From now on every signal that ends a process ends this one as the head of this file says; those
/// that the caller chose to ignore stay ignored. A write past the file-size limit fails like one on
/// a full disk.
void install_signal_handlers();

/// While `is_possible` (not at start), the first signal asks the run to stop; 1.5 seconds later, or
/// with a second signal, it is ended all the same. A crash always ends it at once.
void set_orderly_stop(bool is_possible);
/// The run closes its files now: from here on a stopping one gets 5 seconds, for each file.
void begin_closing();
/// Ends the process by the signal that asked the run to stop.
[[noreturn]] void end_by_stop_signal();

/// Keeps a text until the program ends, for those who only hold a pointer.
const char* keep_text(const char* text);

}  // namespace kestrel
