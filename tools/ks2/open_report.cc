// Finds the report in a gather file, reads the identity block, and tells what is wrong with the
// head, the stamp and the records.
#include "tools/ks2/open_report.h"

#include <algorithm>

#include "gatherer/gthformat.h"
#include "lib/utilstr.h"
#include "tools/ks2/ksml_check.h"
#include "tools/ks2/ksml_reader.h"

namespace kestrel::ks2 {

namespace {

constexpr const char* k_identity_labels[] = {"Node name", "Maker",      "Model", "Serial number",
                                             "UUID",      "Time stamp", "Login", "Domain"};
static_assert(std::size(k_identity_labels) == k_identity_letters.size());

/// A line of the identity block that is longer is cut.
constexpr size_t k_longest_identity = 4096;

struct fault_text {
  gth_fault fault;
  const char* text;
};
constexpr fault_text k_container_faults[] = {
    {gth_fault::head_cut,     "the file ends inside the head"                                  },
    {gth_fault::stuffing,     "the stuffed form is broken: FF is followed by neither 01 nor FF"},
    {gth_fault::record_cut,   "the file ends inside an item's record"                          },
    {gth_fault::data_cut,     "the file ends before an item's data does"                       },
    {gth_fault::unknown_flag, "a compressed flag that is neither 0 nor 1"                      },
};

bool is_valid(const gthStamp& stamp) {
  return stamp.hour < 24 && stamp.minute < 60 && stamp.second <= 60 && stamp.day >= 1 &&
         stamp.day <= 31 && stamp.month >= 1 && stamp.month <= 12 && stamp.year >= 1970 &&
         stamp.year <= 9999;
}

/// Where the byte at `offset` of a stuffed file stands in its plain form.
size_t plain_offset(byte_span stuffed, size_t offset) {
  const auto length = [&](size_t i) -> size_t { return stuffed[i] == 0xFF ? 2 : 1; };
  size_t plain = 0;
  offset = std::min(offset, stuffed.size());
  for (size_t i = 0; i < offset && i + length(i) <= offset; i += length(i)) ++plain;
  return plain;
}

void fail(fault_list& faults, size_t offset, std::string text) {
  faults.add(severity::fault, offset, std::move(text));
}

}  // namespace

void check_container(const input_file& file, fault_list& faults) {
  faults.set_item(0);
  if (!file.is_gather_file()) return;
  const gth_container& container = file.container();
  for (const fault_text& known : k_container_faults) {
    if (known.fault != container.fault()) continue;
    const size_t offset = container.fault_offset();
    fail(faults,
         known.fault == gth_fault::stuffing ? plain_offset(file.bytes(), offset - 1) : offset,
         known.text);
  }
  if (container.fault() == gth_fault::head_cut) return;
  if (container.is_stuffed()) {
    const auto zero = std::find(file.bytes().begin(), file.bytes().end(), 0);
    if (zero != file.bytes().end()) {
      fail(faults, plain_offset(file.bytes(), static_cast<size_t>(zero - file.bytes().begin())),
           "a zero byte in the stuffed form");
    }
  }
  if (!is_valid(container.stamp()))
    fail(faults, k_gth_stamp_offset, "the stamp is no date and time");
  for (size_t i = 0; i < k_gth_fixed.size(); ++i) {
    const size_t at = k_gth_fixed_offset + i;
    if (file.head()[at] == k_gth_fixed[i]) continue;
    fail(faults, at, format_text("byte %zu of the head is not %d", at, k_gth_fixed[i]));
  }
  if (container.fault() != gth_fault::none) {
    if (container.items().size() < container.item_count()) {
      fail(faults, k_gth_count_offset,
           format_text("the head counts %zu items, %zu are whole", container.item_count(),
                       container.items().size()));
    }
  } else if (!container.rest().empty()) {
    fail(faults, file.items().empty() ? k_gth_head_size : file.items().back().end(),
         format_text("bytes behind the last item: %zu", container.rest().size()));
  }
}

void check_decoding(const input_item& item, const decoded_item& decoded, fault_list& faults) {
  if (item.is_cut) {
    fail(faults, decoded.bytes.size(),
         format_text("the file ends inside the item; %zu of its %u bytes could be read",
                     decoded.bytes.size(), item.size));
  }
  if (decoded.trouble.empty()) return;
  faults.add(decoded.is_refused ? severity::warning : severity::fault, decoded.bytes.size(),
             decoded.trouble);
}

report read_and_check(std::string_view bytes, uint64_t memory, fault_list& faults) {
  const size_t first = faults.all().size();
  report content = read_ksml(bytes, memory, faults);
  check_report(content, faults);
  for (size_t i = first; i < faults.all().size(); ++i) content.locate(faults.all()[i].where);
  return content;
}

void sort_faults(fault_list& faults) {
  std::stable_sort(faults.all().begin(), faults.all().end(), [](const fault& a, const fault& b) {
    return a.where.item != b.where.item ? a.where.item < b.where.item
                                        : a.where.offset < b.where.offset;
  });
}

std::vector<identity_line> read_identity(const input_file& file) {
  std::vector<identity_line> lines;
  for (const input_item& item : file.items()) {
    if (item.type != item_identity) continue;
    const decoded_item decoded = file.decode(item);
    std::string_view rest = decoded.text();
    while (!rest.empty() && lines.size() < 100) {
      const std::string_view line = next_field(rest, '\n');
      if (line.empty()) continue;
      const size_t known = k_identity_letters.find(line[0]);
      const char* label = known == std::string_view::npos ? "" : k_identity_labels[known];
      lines.push_back({line[0], label, std::string(line.substr(1, k_longest_identity))});
    }
    break;
  }
  return lines;
}

std::string describe_contents(const input_file& file) {
  std::string words;
  for (const input_item& item : file.items()) {
    const decoded_item decoded = item.type == item_report ? file.decode(item) : decoded_item();
    if (!words.empty()) words += ", ";
    words += describe_item(item.type, decoded.text()).words;
  }
  return words.empty() ? "no items" : words;
}

}  // namespace kestrel::ks2
