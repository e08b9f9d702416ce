// The tasks that open and close the report, and the names under which files are left.
#pragma once

#include <string>

#include "gatherer/task.h"

namespace kestrel {

/// Stores `temporary` in the gather file (when gathering is on) and gives it its final name (when
/// it is to be kept): template + "." kind + "." extension, either may be null. The final name and
/// an error text go to the two places (may be null); both live until the program ends.
bool store_or_save_file(const char* temporary, int item_type, const char** result_name,
                        const char** error_text, const char* extension, const char* kind);

/// Expands the template's '@' macros and appends the suffix, which always fits whole. `size` is
/// that of the buffer, in bytes, its terminator included.
void gatherer_generate_filename(const char* file_template, const char* suffix, char* output,
                                int size);
/// What one macro letter stands for; "" for an unknown one. At most 255 characters.
std::wstring gatherer_expand_filename_macro(wchar_t letter);
/// Finds the program's folder and stores it as filename_save_path.
void gatherer_save_path();

/// Opens, and later closes, the markup report (XML, ksml, TALV); which of the two its order tells.
class xml_output_file_task : public task {
 public:
  xml_output_file_task(const char* name, int order);
  bool test() override;
  bool run(FILE* current) override;
};
class txt_output_file_task : public task {
 public:
  txt_output_file_task(const char* name, int order);
  bool test() override;
  bool run(FILE* current) override;
};
class html_output_file_task : public task {
 public:
  html_output_file_task(const char* name, int order);
  bool test() override;
  bool run(FILE* current) override;
};
class stdout_output_task : public task {
 public:
  stdout_output_task(const char* name, int order);
  bool test() override;
  bool run(FILE* current) override;
};

}  // namespace kestrel
