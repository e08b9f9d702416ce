// The tasks that open and close the report, and the names under which files are left.
#pragma once

#include <string>

#include "gatherer/task.h"

namespace kestrel {

class temporary_file;

/// Stores `temporary` in the gather file (when gathering is on) and gives it its final name (when
/// it is to be kept): template + "." kind + "." extension, either may be null. The final name and
/// an error text go to the two places (may be null); both live until the program ends. False only
/// for a file that was neither to be stored nor has a name; a failure is told to the user and fails
/// the run.
bool store_or_save_file(temporary_file& temporary, int item_type, const char** result_name,
                        const char** error_text, const char* extension, const char* kind);

/// Expands the template's '@' macros and appends the suffix, which always fits whole. `size` is
/// that of the buffer, in bytes, its terminator included.
void gatherer_generate_filename(const char* file_template, const char* suffix, char* output,
                                int size);
/// What one macro letter stands for; "" for an unknown one. At most 255 characters.
std::wstring gatherer_expand_filename_macro(wchar_t letter);
/// The path that the names of this run's files begin with, as far as it can be told before the run:
/// the template, of whose macros only the desktop's is expanded.
std::string gatherer_target_path();
/// Finds the program's folder and stores it, the last '/' included, as filename_save_path; "" when
/// it cannot be told.
void gatherer_save_path();

/// Opens, and later closes, the markup report (XML, ksml, TALV); which of the two its order tells.
/// A report that cannot be closed whole is kept under its temporary name and fails the run.
class xml_output_file_task : public task {
 public:
  xml_output_file_task(const char* name, int order);
  bool test() override;
  bool run(FILE* current) override;
};
/// The same for plain text (text, list). A file that cannot be created ends the program.
class txt_output_file_task : public task {
 public:
  txt_output_file_task(const char* name, int order);
  bool test() override;
  bool run(FILE* current) override;
};
/// The same for HTML.
class html_output_file_task : public task {
 public:
  html_output_file_task(const char* name, int order);
  bool test() override;
  bool run(FILE* current) override;
};
/// Makes standard output the open report when the user asked for that; nothing closes it.
class stdout_output_task : public task {
 public:
  stdout_output_task(const char* name, int order);
  bool test() override;
  bool run(FILE* current) override;
};

}  // namespace kestrel
