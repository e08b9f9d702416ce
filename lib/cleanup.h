// What a run that is ended by a signal must not leave behind: temporary files and half a container
// item. The notes are fixed memory, so that the signal handler may read them at any moment.
#pragma once

namespace kestrel {

/// Notes a temporary file of the current directory (255 bytes at most, 16 files at a time; others
/// are not noted), removed should a signal end the run. The object's end only forgets it: who
/// created the file removes or renames it.
class temporary_file_note {
 public:
  explicit temporary_file_note(const char* path);
  temporary_file_note(const temporary_file_note&) = delete;
  temporary_file_note& operator=(const temporary_file_note&) = delete;
  ~temporary_file_note();

 private:
  int slot_;
};
/// The same for files that outlive a scope.
void note_temporary_file(const char* path);
void forget_temporary_file(const char* path);

/// While the object lives, a signal that ends the run cuts the open file back to `length` bytes.
/// One such object at a time.
class unfinished_write_note {
 public:
  unfinished_write_note(int descriptor, long long length);
  unfinished_write_note(const unfinished_write_note&) = delete;
  unfinished_write_note& operator=(const unfinished_write_note&) = delete;
  ~unfinished_write_note();
};

/// From now on SIGINT, SIGTERM and SIGHUP kill the running command, clean up and end the process;
/// one that the caller chose to ignore stays ignored.
void install_signal_handlers();

/// Keeps a text until the program ends, for those who only hold a pointer.
const char* keep_text(const char* text);

}  // namespace kestrel
