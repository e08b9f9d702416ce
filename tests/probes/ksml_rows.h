// The ksml that a probe writes, in lines that tests can compare whole: each table's title, and each
// row as "name: cell|cell|", escapes as they stand.
#pragma once

#include <regex>
#include <string>

#include "lib/table.h"
#include "tests/lib/report_capture.h"

namespace kestrel {

template <class Writer>
std::string report_rows(Writer&& write) {
  static const std::regex k_element(
      "<(TABLE|ROW) ID=\"([^\"]*)\">\r\n|<[A-Z]+ ID=\"[^\"]*\"(?: W=\"\\d+\")?>([^<]*)</|(</ROW>)");
  Table::set_output_format(OUTPUT_KSML);
  report_capture report;
  write(report.stream());
  const std::string text = report.text();
  std::string rows;
  for (std::sregex_iterator at(text.begin(), text.end(), k_element), end; at != end; ++at) {
    if ((*at)[1] == "TABLE") {
      rows += (*at)[2].str() + "\n";
    } else if ((*at)[1] == "ROW") {
      rows += (*at)[2].str() + ": ";
    } else {
      rows += (*at)[4].matched ? "\n" : (*at)[3].str() + "|";
    }
  }
  return rows;
}

}  // namespace kestrel
