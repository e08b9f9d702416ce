// ks2 list FILE...
#include <algorithm>
#include <cstdio>
#include <optional>

#include "gatherer/gthformat.h"
#include "lib/utilstr.h"
#include "tools/ks2/command.h"
#include "tools/ks2/json.h"
#include "tools/ks2/open_report.h"
#include "tools/ks2/progress.h"
#include "tools/ks2/shown_text.h"
#include "tools/ks2/terminal.h"
#include "tools/ks2/text_table.h"

namespace kestrel::ks2 {

namespace {

constexpr size_t k_longest_value = 200;  // characters of the identity

/// An item as it is listed.
struct listed_item {
  const input_item* item;
  item_description description;
  std::string name;  ///< of a stored file
  std::string mime_type;
};

std::string stamp_text(const gthStamp& stamp) {
  return format_text("%04u-%02u-%02u %02u:%02u:%02u", stamp.year, stamp.month, stamp.day,
                     stamp.hour, stamp.minute, stamp.second);
}

std::vector<listed_item> list_items(const input_file& file, fault_list& faults, int& status) {
  std::vector<listed_item> listed;
  for (const input_item& item : file.items()) {
    const size_t number = listed.size() + 1;
    progress_stage stage(
        format_text("%s: item %zu of %zu", file.path(), number, file.items().size()));
    const decoded_item decoded = file.decode(item);
    faults.set_item(static_cast<int>(number));
    check_decoding(item, decoded, faults);
    if (decoded.is_refused) status = exit_unreadable;
    listed_item entry = {&item, describe_item(item.type, decoded.text()), "", ""};
    const auto header = parse_stored_header(decoded.text());
    if (item.type == item_stored_file && header) {
      entry.name = header->name;
      entry.mime_type = header->mime_type;
    }
    listed.push_back(std::move(entry));
  }
  return listed;
}

bool has_ratio(const input_item& item) { return item.is_compressed() && item.size > 0; }

double ratio(const input_item& item) {
  return static_cast<double>(item.compressed_size) / item.size;
}

const char* form_of(const input_file& file) {
  if (!file.is_gather_file()) return "loose ksml report";
  return file.container().is_stuffed() ? "stuffed" : "plain";
}

void write_top(const input_file& file, text_output& out) {
  text_table top({
      {"", false},
      {"", false}
  });
  out.write(shown(file.path()) + "\n");
  top.rows.push_back({"Form", form_of(file)});
  if (file.is_gather_file()) {
    top.rows.push_back({"Stamp", stamp_text(file.container().stamp()) + " UTC"});
    for (const identity_line& line : read_identity(file)) {
      const std::string label = *line.label != '\0' ? line.label : std::string(1, line.letter);
      top.rows.push_back({shown(label), shown(line.value, k_longest_value)});
    }
  }
  write_rows(top, output_width(), out);
}

void write_text(const input_file& file, const std::vector<listed_item>& items, text_output& out) {
  write_top(file, out);
  if (!file.is_gather_file()) return;
  text_table table({
      {"Item",        true },
      {"Content",     false},
      {"Type",        true },
      {"Packed",      false},
      {"Size",        true },
      {"Packed size", true },
      {"Ratio",       true },
      {"Name",        false},
      {"MIME type",   false}
  });
  for (const listed_item& entry : items) {
    const input_item& item = *entry.item;
    table.rows.push_back({std::to_string(table.rows.size() + 1), entry.description.words,
                          std::to_string(item.type), item.is_compressed() ? "yes" : "no",
                          std::to_string(item.size),
                          item.is_compressed() ? std::to_string(item.compressed_size) : "",
                          has_ratio(item) ? format_text("%.1f%%", 100 * ratio(item)) : "",
                          shown(entry.name), shown(entry.mime_type)});
  }
  out.write("\n");
  write_table(table, output_width(), out);
}

std::string item_json(const listed_item& entry, size_t number) {
  const input_item& item = *entry.item;
  std::string json = format_text(
      "{\"item\": %zu, \"type\": %d, \"content\": %s, \"compressed\": %s, \"size\": %u, "
      "\"packed_size\": %u",
      number, item.type, json_string(entry.description.words).c_str(),
      item.is_compressed() ? "true" : "false", item.size, item.data_size());
  if (has_ratio(item)) json += format_text(", \"ratio\": %.4f", ratio(item));
  if (!entry.name.empty()) json += ", \"name\": " + json_string(entry.name);
  if (!entry.mime_type.empty()) json += ", \"mime_type\": " + json_string(entry.mime_type);
  if (item.is_cut) json += ", \"cut\": true";
  return json + "}";
}

std::string file_json(const input_file& file, const std::vector<listed_item>& items) {
  std::string json =
      "{\"file\": " + json_string(file.path()) + ", \"form\": " + json_string(form_of(file));
  if (file.is_gather_file()) {
    json += ", \"stamp\": " + json_string(stamp_text(file.container().stamp()));
    std::string identity, letters;
    for (const identity_line& line : read_identity(file)) {
      // Of a damaged block the first line with a letter.
      if (*line.label == '\0' || letters.find(line.letter) != std::string::npos) continue;
      letters += line.letter;
      if (!identity.empty()) identity += ", ";
      identity += json_string(line.label) + ": " + json_string(line.value);
    }
    json += ", \"machine\": {" + identity + "}";
  }
  json += ", \"items\": [";
  for (size_t i = 0; i < items.size(); ++i) {
    json += (i == 0 ? "\n    " : ",\n    ") + item_json(items[i], i + 1);
  }
  return json + (items.empty() ? "]}" : "\n  ]}");
}

/// Lists one file; returns its status.
int list_file(const char* path, const arguments& given, bool& is_first, text_output& out) {
  std::optional<progress_stage> stage(std::string(path) + ": reading");
  const input_file file(path, given.max_size);
  stage.reset();
  if (file.status() != exit_whole) return refuse(file);
  int status = exit_whole;
  fault_list faults;
  check_container(file, faults);
  const std::vector<listed_item> items = list_items(file, faults, status);
  if (given.json) {
    out.write(is_first ? "\n  " : ",\n  ");
    out.write(file_json(file, items));
  } else {
    if (!is_first) out.write("\n");
    write_text(file, items, out);
  }
  is_first = false;
  out.flush();
  return std::max(status, warn(file, faults));
}

}  // namespace

int run_list(const arguments& given) {
  int status = exit_whole;
  bool is_first = true;
  {
    text_output out(stdout, given.json ? audience::programs : audience::people);
    if (given.json) out.write("[");
    for (const char* path : given.operands) {
      status = std::max(status, list_file(path, given, is_first, out));
    }
    if (given.json) out.write("\n]\n");
  }
  return finish_output(status);
}

}  // namespace kestrel::ks2
