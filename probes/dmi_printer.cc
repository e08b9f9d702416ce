// Writes the table of an SMBIOS structure type as its cells say. A field is read only where the
// structure and its version have it.
#include "probes/dmi_printer.h"

#include "lib/debug.h"

namespace kestrel {

namespace {

std::string text_of(const smbios_cell& source, const structure_reader& structure) {
  if (!structure.has(source.place)) return "";
  if (source.decode != nullptr) return source.decode(structure.value(source.place));
  if (source.compose != nullptr) return source.compose(structure);
  return structure.string(source.place);
}

}  // namespace

void smbios_cell::log(Table& table, const structure_reader& structure) const {
  if (plain == as_number) {
    table.log_data(static_cast<int>(structure.value(place)));
  } else {
    table.log_data(text_of(*this, structure));
  }
}

smbios_version SetupVersion(int revision) {
  const int major = revision >> 4, minor = revision & 15;
  smbios_version version;
  version.is_2_2_or_later = major > 2 || (major == 2 && minor >= 2);
  version.is_2_1 = major == 2 && minor == 1;
  return version;
}

bool structure_reader::has(const smbios_field& place) const {
  const bool from_this_version = place.since == from_first || version_.is_2_2_or_later ||
                                 (place.since == from_2_1 && version_.is_2_1);
  return from_this_version && structure_.has(place.offset, place.bytes);
}

uint32_t structure_reader::value(const smbios_field& place) const {
  if (!has(place)) return 0;
  switch (place.bytes) {
    case 1:
      return structure_.u8(place.offset);
    case 2:
      return structure_.u16(place.offset);
    default:
      return structure_.u32(place.offset);
  }
}

std::string structure_reader::string(const smbios_field& place) const {
  return structure_.string(value(place));
}

void structure_printer::print(FILE* out, Dmi& dmi, smbios_version version) const {
  print_rows(out, dmi, version);
  if (print_more != nullptr) print_more(out, structure_reader(dmi.get_struct(type, 0), version));
}

void structure_printer::print_rows(FILE* out, Dmi& dmi, smbios_version version) const {
  record_table<structure_reader, smbios_cell> table(out, title, instance, cells);
  const unsigned count = dmi.get_num_structs(type);
  for (unsigned i = 0; i < count; ++i) {
    structure_reader structure(dmi.get_struct(type, i), version);
    if (trace != nullptr && is_logging()) trace(structure);
    const unsigned items = count_items == nullptr ? 1 : count_items(structure);
    for (unsigned item = 0; item < items; ++item) {
      structure.set_item(item);
      table.add(std::to_string(table.rows() + 1), structure);
    }
  }
}

}  // namespace kestrel
