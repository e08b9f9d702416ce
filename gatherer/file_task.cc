// The tasks that open and close the report: see file_task.h.
#include "gatherer/file_task.h"

#include <cerrno>
#include <cstring>

#include "gatherer/console.h"
#include "gatherer/gthfile.h"
#include "gatherer/ks2file.h"
#include "gatherer/probe.h"
#include "gatherer/settings.h"
#include "gatherer/version.h"
#include "lib/cleanup.h"
#include "lib/debug.h"
#include "lib/file.h"
#include "lib/table.h"
#include "lib/temporary.h"
#include "lib/util_linux.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr int k_opening_order = 8;

constexpr const char k_html_head[] =
    "<html>\n"
    "<head>\n"
    "<title>Kestrel Output</title>\n"
    "<style type=\"text/css\">\n"
    "h2 {\n"
    "\tbackground-color: #6666ff;\n"
    "\tcolor: white;\n"
    "\ttext-align: center;\n"
    "}\n"
    "th {\n"
    "\tcolor: white;\n"
    "\tbackground-color: #6666ff;\n"
    "\tpadding: 2;\n"
    "\tborder-style: solid;\n"
    "\tborder-color: black;\n"
    "\tborder-width: 1;\n"
    "}\n"
    "table {\n"
    "\tborder-style: none;\n"
    "\tborder-collapse: collapse;\n"
    "}\n"
    "td {\n"
    "\tpadding: 2;\n"
    "\tborder-style: solid;\n"
    "\tborder-color: black;\n"
    "\tborder-width: 1;\n"
    "\ttext-align: left;\n"
    "}\n"
    "#toc {\n"
    "\ttext-transform: uppercase;\n"
    "}\n"
    "</style>\n"
    "</head>\n"
    "<body>\n";

bool writes_file() { return get_setting(setting_stdout_output) == 0; }

// The report, from the opening to the closing task.
temporary_file report;

std::string temporary_name() {
  return format_text("kestr%x.tmp", static_cast<unsigned>(get_process_id()));
}

// A text or HTML report that cannot be started leaves nothing to do.
FILE* open_plain_report() {
  std::string name = temporary_name();
  file_ptr out = report.create(name);
  if (out == nullptr) {
    print_error(name.c_str(), errno);
    internal_error("Cannot create temporary file. Disk full?\n");
  }
  return out.release();
}

// What could be written is kept, complete or not; the user is told and the run fails.
bool close_report(task& closing, FILE* current, bool (*close)(FILE*), int item_type,
                  const char* extension) {
  task::output_file = nullptr;
  if (current == nullptr) return false;
  if (close(current)) {
    return store_or_save_file(report, item_type, &closing.status_ok_text, &closing.status_fail_text,
                              extension, nullptr);
  }
  int errnum = errno;
  report_file_error(report.name(), errnum);
  fail_run();
  closing.status_fail_text = keep_text(strerror(errnum));
  report.keep();
  return false;
}

void write_html_contents(FILE* out) {
  fprintf(out, "<h1>Table of Contents</h1>\n<ol id='toc'>\n");
  for (task* unit = task::first; unit != nullptr; unit = unit->next) {
    if (dynamic_cast<probe_group*>(unit) == nullptr || !unit->validate()) continue;
    fprintf(out, "<li><a href=\"#%s\">%s</a></li>\n", unit->name, unit->name);
  }
  fprintf(out, "</ol>\n");
}

bool close_html(FILE* out) {
  fputs("</body>", out);
  return close_checked(out);
}

bool close_plain(FILE* out) { return close_checked(out); }

}  // namespace

// --- markup report --------------------------------------------------------------------------

xml_output_file_task::xml_output_file_task(const char* task_name, int task_order)
    : task(task_name, task_order) {
  detail_level = 1;
}

bool xml_output_file_task::test() {
  output_format_type format = Table::get_output_format();
  return writes_file() && (format == OUTPUT_XML || format == OUTPUT_KSML || format == OUTPUT_TALV);
}

bool xml_output_file_task::run(FILE* current) {
  if (order != k_opening_order) {
    return close_report(*this, current, close_xml_file, item_report, "XML");
  }
  FILE* out = open_xml_file(report, temporary_name().c_str());
  if (out == nullptr) {
    status_fail_text = "Cannot create temporary file";
    return false;
  }
  output_file = out;
  return true;
}

// --- text report ----------------------------------------------------------------------------

txt_output_file_task::txt_output_file_task(const char* task_name, int task_order)
    : task(task_name, task_order) {
  detail_level = 1;
}

bool txt_output_file_task::test() {
  output_format_type format = Table::get_output_format();
  return (writes_file() && format == OUTPUT_TEXT) || format == OUTPUT_LIST;
}

bool txt_output_file_task::run(FILE* current) {
  if (order != k_opening_order) {
    return close_report(*this, current, close_plain, item_text, "TXT");
  }
  output_file = open_plain_report();
  fprintf(output_file, "\n%s\n%s\nVersion %s %s\n\n", k_title, k_legal_notice, k_version,
          get_subversion());
  return true;
}

// --- HTML report ----------------------------------------------------------------------------

html_output_file_task::html_output_file_task(const char* task_name, int task_order)
    : task(task_name, task_order) {
  detail_level = 1;
}

bool html_output_file_task::test() {
  return writes_file() && Table::get_output_format() == OUTPUT_HTML;
}

bool html_output_file_task::run(FILE* current) {
  if (order != k_opening_order) {
    return close_report(*this, current, close_html, item_html, "HTML");
  }
  output_file = open_plain_report();
  fputs(k_html_head, output_file);
  fprintf(output_file, "<p>%s\n<br>%s\n<br>Version %s %s\n", k_title, k_legal_notice, k_version,
          get_subversion());
  write_html_contents(output_file);
  return true;
}

// --- standard output ------------------------------------------------------------------------

stdout_output_task::stdout_output_task(const char* task_name, int task_order)
    : task(task_name, task_order) {}

bool stdout_output_task::test() { return !writes_file(); }

bool stdout_output_task::run(FILE*) {
  output_file = stdout;
  note_kept("standard output");
  return true;
}

}  // namespace kestrel
