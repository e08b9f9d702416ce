// Reports of the real writer and containers around them, for the tests of ks2.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "gatherer/gthformat.h"
#include "lib/lzh.h"
#include "lib/section.h"
#include "lib/table.h"
#include "lib/utilstr.h"
#include "lib/xml.h"
#include "tests/lib/report_capture.h"
#include "tools/ks2/judge.h"

namespace kestrel::ks2 {

using file_bytes = std::vector<unsigned char>;

inline file_bytes bytes_of(std::string_view text) { return {text.begin(), text.end()}; }

// --- reports and containers ---------------------------------------------------------------------

inline constexpr column k_columns[] = {
    {"Name",  DT_STRING,  10},
    {"Size",  DT_INTEGER, 0 },
    {"Mask",  DT_HEX,     8 },
    {"Ready", DT_BOOL,    5 },
    {"Note",  DT_ASCII,   12},
};

inline void write_rows(FILE* out, const std::string& filler) {
  Table table(out, "Disks & <more>");
  table.declare(k_columns);
  const wchar_t* const names[] = {L"sda", L"caf\u00e9 \u20ac \U0001F600", L"a\"b'c<d>&\r\n\te",
                                  L""};
  for (const wchar_t* name : names) {
    table.start_row(name);
    table.log_wide_data(name);
    table.log_data(-17);
    table.log_data(0xBEEFul);
    table.log_data(1);
    table.log_data("caf\xC3\xA9" + filler);
    table.end_row();
  }
}

/// A whole report by the gatherer's own writer, with `imports` in it, and `filler` in cells and
/// files.
inline std::string make_report(const std::vector<std::string>& imports = {},
                               const std::string& filler = "") {
  Table::set_output_format(OUTPUT_KSML);
  report_capture out;
  const sample_file file("line\r\n]]> and ]]]]>\n\xF0\x9F\x98\x80 \x01 end]]" + filler);
  const uint32_t before = Table::get_output_checksum();
  xml_file_heading(out.stream());
  xml_open_tag(out.stream(), "GATHERED_DATA");
  xml_tag_value(out.stream(), "GATHERER_VERSION", "2.0.0");
  for (const char* title : {"STORAGE", "ST/OR"}) {
    start_section(out.stream(), title);
    write_rows(out.stream(), filler);
    log_file(out.stream(), file.path());
    log_file(out.stream(), "/nowhere");
    Table(out.stream(), "Empty").declare(k_columns);
    end_section(out.stream());
  }
  for (const std::string& text : imports) log_ksml_file(out.stream(), sample_file(text).path());
  xml_tag_value(out.stream(), "CHK",
                format_text("%8X", Table::get_output_checksum() - before).c_str());
  xml_close_tag(out.stream(), "GATHERED_DATA");
  return out.text();
}

struct part {
  uint8_t type;
  std::string content;
  bool is_packed;
};

inline const std::string k_identity = "Cvm\nVMaker\nMModel\nSS1\nU\nT20260101-000000\nLroot\nK\n";

inline void append(file_bytes& file, byte_span bytes) {
  file.insert(file.end(), bytes.begin(), bytes.end());
}

inline file_bytes make_container(const std::vector<part>& parts) {
  file_bytes file;
  gth_head_bytes head = encode_head({23, 59, 58, 31, 12, 2026});
  head[k_gth_count_offset] = static_cast<unsigned char>(parts.size());
  append(file, head);
  for (const part& one : parts) {
    file_bytes content = bytes_of(one.content);
    LzwComp sizes = {static_cast<uint32_t>(content.size()), 0};
    if (one.is_packed) {
      file_bytes packed(LzH::most_compressed(content.size()));
      EXPECT_EQ(LzH().Encode(content, packed, &sizes), 0);
      packed.resize(sizes.compressed_size);
      content = packed;
    }
    append(file, encode_record(
                     {one.type, sizes.uncompressed_size, one.is_packed, sizes.compressed_size}));
    append(file, content);
  }
  return file;
}

inline file_bytes stuffed(const file_bytes& plain) {
  file_bytes head(plain), file;
  std::copy(k_gth_stuffed_ident.begin(), k_gth_stuffed_ident.end(), head.begin());
  stuff(head, file);
  return file;
}

/// What `verify` says.
struct outcome {
  exit_status status;
  fault_list faults;
  std::string text;  ///< of all of it

  bool is_damaged() const { return status != exit_whole || !faults.is_whole(); }
  /// A warning will do.
  bool is_told() const { return is_damaged() || tells("packed again"); }
  bool tells(std::string_view words) const { return text.find(words) != std::string::npos; }
};

inline outcome verified(file_bytes bytes, uint64_t limit = k_default_max_size) {
  const input_file file("file", std::move(bytes), limit);
  outcome result = {file.status(), {}, file.message()};
  if (file.status() != exit_whole) return result;
  judgement found = judge(file, judging::quick);
  result.faults = std::move(found.faults);
  for (const fault& told : result.faults.all()) {
    result.text += format_text("item %d %s row %d: %s\n", told.where.item, told.where.name.c_str(),
                               told.where.row, told.text.c_str());
  }
  result.text += found.without_sums;
  return result;
}

inline outcome verified(std::string_view report) { return verified(bytes_of(report)); }

/// Offsets that nothing vouches for: names, column counts and the version.
inline std::vector<bool> unguarded(const std::string& report) {
  std::vector<bool> offsets(report.size());
  const auto mark = [&](std::string_view start, std::string_view end) {
    for (size_t at = 0; (at = report.find(start, at)) != std::string::npos;) {
      at += start.size();
      const size_t stop = report.find(end, at);
      std::fill(offsets.begin() + static_cast<std::ptrdiff_t>(at),
                offsets.begin() + static_cast<std::ptrdiff_t>(stop), true);
    }
  };
  mark("ID=\"", "\"");
  mark("<GATHERER_VERSION>", "<");
  mark("<COLS>", "<");
  mark("<!-- import ", " -->");
  // Cells' sums take the low 16 bits of a character; the plane is in the first two of its four
  // bytes.
  for (size_t at = 0; (at = report.find("\xF0\x9F", at)) != std::string::npos; ++at) {
    offsets[at] = offsets[at + 1] = true;
  }
  return offsets;
}

inline std::string replaced(std::string text, std::string_view what, std::string_view with) {
  const size_t at = text.find(what);
  EXPECT_NE(at, std::string::npos) << what;
  return text.replace(at, what.size(), with);
}

inline std::vector<part> small_parts(const std::string& report) {
  return {
      {item_identity,    k_identity,                                                   false},
      {item_stored_file, "Filename: /etc/notes\nMIME-Type: text/plain\n\nnotes notes", true },
      {item_report,      report,                                                       true }
  };
}

}  // namespace kestrel::ks2
