// How one SMBIOS structure type becomes one table of the report. A printer is data: a title and a
// row of cells, each a column, the place of a field and how the field becomes text. Offsets are
// those of the System Management BIOS standard (DSP0134), version 2.3.
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>

#include "lib/dmi.h"
#include "lib/table_rows.h"

namespace kestrel {

/// What the table's revision says about the fields that later versions added.
struct smbios_version {
  bool is_2_1 = false;  ///< exactly 2.1
  bool is_2_2_or_later = false;
};

/// From the BCD revision: major in the high nibble, minor in the low one.
smbios_version SetupVersion(int revision);

/// The version that brought a field into its structure.
enum smbios_since : uint8_t { from_first, from_2_1, from_2_2 };

/// Where a field stands in a structure.
struct smbios_field {
  unsigned offset;     ///< from the structure's start
  unsigned bytes = 1;  ///< 1, 2 or 4
  smbios_since since = from_first;
};

/// One structure as a row of the report sees it. A field is absent when the structure ends before
/// it or the table's version does not have it; an absent field reads as 0 and as "".
class structure_reader {
 public:
  structure_reader(smbios_structure structure, smbios_version version)
      : structure_(structure), version_(version) {}

  bool has(const smbios_field& place) const;
  /// At most four bytes, little-endian.
  uint32_t value(const smbios_field& place) const;
  /// The string whose number stands in the field.
  std::string string(const smbios_field& place) const;
  /// See smbios_structure::string.
  std::string numbered_string(unsigned number) const { return structure_.string(number); }
  unsigned handle() const { return structure_.handle(); }
  /// Which of the structure's rows this is, from 0.
  unsigned item() const { return item_; }
  void set_item(unsigned item) { item_ = item; }

 private:
  smbios_structure structure_;
  smbios_version version_;
  unsigned item_ = 0;
};

/// How a field becomes a cell: as the string with that number, as the number itself (integer
/// columns only), in words that its value stands for, or in a text made from the whole structure.
enum smbios_plain : uint8_t { as_string, as_number };
using smbios_decoder = std::string (*)(uint32_t value);
using smbios_composer = std::string (*)(const structure_reader& structure);

/// One column and the field that it shows; the cell of an absent field is empty, or 0. No cell_of,
/// as it carries the field's place, which one function then checks for all.
struct smbios_cell {
  constexpr smbios_cell(const char* name, datatype type, int width, unsigned offset, unsigned bytes,
                        smbios_since since, smbios_plain kind)
      : heading{name, type, width}, place{offset, bytes, since}, plain(kind) {}
  constexpr smbios_cell(const char* name, datatype type, int width, unsigned offset, unsigned bytes,
                        smbios_since since, smbios_decoder decoder)
      : heading{name, type, width}, place{offset, bytes, since}, decode(decoder) {}
  constexpr smbios_cell(const char* name, datatype type, int width, unsigned offset, unsigned bytes,
                        smbios_since since, smbios_composer composer)
      : heading{name, type, width}, place{offset, bytes, since}, compose(composer) {}

  void log(Table& table, const structure_reader& structure) const;

  column heading;
  smbios_field place;
  smbios_plain plain = as_string;
  smbios_decoder decode = nullptr;
  smbios_composer compose = nullptr;
};

/// The table of one structure type.
struct structure_printer {
  unsigned type;
  const char* title;
  const char* instance;  ///< null: the table has none
  std::span<const smbios_cell> cells;
  /// How many rows a structure gives; null: one.
  unsigned (*count_items)(const structure_reader& structure) = nullptr;
  /// Tells the debug log about decoded fields that have no column.
  void (*trace)(const structure_reader& structure) = nullptr;
  /// Writes a second table about the type's first structure.
  void (*print_more)(FILE* out, const structure_reader& first) = nullptr;

  /// One row a structure (or item), named by a running number.
  void print(FILE* out, Dmi& dmi, smbios_version version) const;
  void print_rows(FILE* out, Dmi& dmi, smbios_version version) const;
};

/// The printers by structure type, in dmi_print_system.cc and the files named below.
extern const structure_printer printStructure00;
extern const structure_printer printStructure01;
extern const structure_printer printStructure02;
extern const structure_printer printStructure03;
extern const structure_printer printStructure04;
extern const structure_printer printStructure11;
extern const structure_printer printStructure12;
extern const structure_printer printStructure13;
extern const structure_printer printStructure14;
// dmi_print_board.cc
extern const structure_printer printStructure07;
extern const structure_printer printStructure08;
extern const structure_printer printStructure09;
extern const structure_printer printStructure10;
extern const structure_printer printStructure21;
// dmi_print_memory.cc
extern const structure_printer printStructure05;
extern const structure_printer printStructure06;
extern const structure_printer printStructure16;
extern const structure_printer printStructure17;
extern const structure_printer printStructure18;
extern const structure_printer printStructure19;
extern const structure_printer printStructure20;
// dmi_print_control.cc
extern const structure_printer printStructure22;
extern const structure_printer printStructure23;
extern const structure_printer printStructure24;
extern const structure_printer printStructure25;
extern const structure_printer printStructure26;
extern const structure_printer printStructure27;
extern const structure_printer printStructure28;
extern const structure_printer printStructure29;
extern const structure_printer printStructure30;
extern const structure_printer printStructure32;

/// All of them, by rising type; for the tests, no program calls it.
std::span<const structure_printer* const> structure_printers();

}  // namespace kestrel
