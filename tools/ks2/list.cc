// ks2 list FILE...
#include <algorithm>
#include <cstdio>

#include "gatherer/gthfile.h"
#include "lib/utilstr.h"
#include "tools/ks2/command.h"
#include "tools/ks2/json.h"
#include "tools/ks2/open_report.h"
#include "tools/ks2/shown_text.h"
#include "tools/ks2/terminal.h"
#include "tools/ks2/text_table.h"

namespace kestrel::ks2 {

namespace {

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

std::vector<listed_item> list_items(const input_file& file, fault_list& faults) {
  std::vector<listed_item> listed;
  for (const input_item& item : file.items()) {
    const decoded_item decoded = file.decode(item);
    faults.set_item(static_cast<int>(listed.size() + 1));
    check_decoding(item, decoded, faults);
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

std::string ratio_text(const input_item& item) {
  if (!item.is_compressed() || item.size == 0) return "";
  return format_text("%.1f%%", 100.0 * item.compressed_size / item.size);
}

const char* form_of(const input_file& file) {
  if (!file.is_gather_file()) return "loose ksml report";
  return file.container().is_stuffed() ? "stuffed" : "plain";
}

void print_text(const input_file& file, const std::vector<listed_item>& items) {
  text_table top = {
      {{"", false}, {"", false}},
      {           }
  };
  std::printf("%s\n", shown(file.path()).c_str());
  top.rows.push_back({"Form", form_of(file)});
  if (file.is_gather_file()) {
    top.rows.push_back({"Stamp", stamp_text(file.container().stamp()) + " UTC"});
    for (const identity_line& line : read_identity(file)) {
      const std::string label = *line.label != '\0' ? line.label : std::string(1, line.letter);
      top.rows.push_back({shown(label), shown(line.value)});
    }
  }
  std::printf("%s", format_table(top, output_width()).rows.c_str());
  if (!file.is_gather_file()) return;
  text_table table = {
      {{"Item", true},
       {"Content", false},
       {"Type", true},
       {"Packed", false},
       {"Size", true},
       {"Packed size", true},
       {"Ratio", true},
       {"Name", false},
       {"MIME type", false}},
      {}
  };
  for (const listed_item& entry : items) {
    const input_item& item = *entry.item;
    table.rows.push_back({std::to_string(table.rows.size() + 1), entry.description.words,
                          std::to_string(item.type), item.is_compressed() ? "yes" : "no",
                          std::to_string(item.size),
                          item.is_compressed() ? std::to_string(item.compressed_size) : "",
                          ratio_text(item), shown(entry.name), shown(entry.mime_type)});
  }
  const formatted_table text = format_table(table, output_width());
  std::printf("\n%s%s", text.heading.c_str(), text.rows.c_str());
}

std::string item_json(const listed_item& entry, size_t number) {
  const input_item& item = *entry.item;
  std::string json = format_text(
      "{\"item\": %zu, \"type\": %d, \"content\": %s, \"compressed\": %s, \"size\": %u, "
      "\"packed_size\": %u",
      number, item.type, json_string(entry.description.words).c_str(),
      item.is_compressed() ? "true" : "false", item.size, item.data_size());
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
    std::string identity;
    for (const identity_line& line : read_identity(file)) {
      if (*line.label == '\0') continue;
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

}  // namespace

int run_list(const arguments& given) {
  int status = exit_whole;
  bool is_first = true;
  if (given.json) std::printf("[");
  for (const char* path : given.operands) {
    const input_file file(path, given.max_size);
    if (file.status() != exit_whole) {
      status = std::max(status, refuse(file));
      continue;
    }
    fault_list faults;
    check_container(file, faults);
    const std::vector<listed_item> items = list_items(file, faults);
    if (given.json) {
      std::printf("%s\n  %s", is_first ? "" : ",", file_json(file, items).c_str());
    } else {
      if (!is_first) std::printf("\n");
      print_text(file, items);
    }
    is_first = false;
    status = std::max(status, warn(file, faults));
  }
  if (given.json) std::printf("\n]\n");
  return finish_output(status);
}

}  // namespace kestrel::ks2
