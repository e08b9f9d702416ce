// The seven forms that a report can have. One is chosen once a run, see Table::set_output_format.
#pragma once

namespace kestrel {

/// The formats of a report, each in a table_*.cc of its own.
enum output_format_type {
  OUTPUT_TEXT = 0,  ///< boxed plain text
  OUTPUT_XML = 1,   ///< element names made from table and column names
  OUTPUT_TALV = 2,  ///< fixed element names, typed values
  OUTPUT_LIST = 3,  ///< plain text, a line a cell
  OUTPUT_KSML = 4,  ///< fixed element names, types, widths and checksums
  OUTPUT_HTML = 5,
  OUTPUT_XML_LOWERCASE = 6,  ///< only for set_output_format, which stores OUTPUT_XML
};

}  // namespace kestrel
