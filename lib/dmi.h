// SMBIOS access through the legacy "_DMI_" entry point in the BIOS area (System Management BIOS
// standard, DSP0134). Every failure ends in a defined empty answer.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "lib/cursor.h"
#include "lib/date.h"

namespace kestrel {

/// One structure of the table, bounded: its formatted area and its string set. A field beyond the
/// structure's own length reads as 0, an unknown string number as "".
class smbios_structure {
 public:
  smbios_structure() = default;
  /// `bytes` is the whole structure, header and strings; they must outlive the object.
  explicit smbios_structure(byte_span bytes) : bytes_(bytes) {}

  explicit operator bool() const { return !bytes_.empty(); }
  unsigned type() const { return cursor(bytes_).get_u8(); }
  /// Of the formatted area.
  unsigned length() const { return cursor(bytes_, 1).get_u8(); }
  unsigned handle() const { return u16(2); }
  bool has(unsigned offset, unsigned width) const;  ///< field lies inside the formatted area
  uint8_t u8(unsigned offset) const { return field(offset).get_u8(); }
  uint16_t u16(unsigned offset) const { return field(offset).get_u16(); }
  uint32_t u32(unsigned offset) const { return field(offset).get_u32(); }
  /// The number-th string (from 1); "" for 0, a number past the string set, or a structure whose
  /// formatted area is longer than 127 bytes.
  std::string string(unsigned number) const;
  /// The string whose number stands in the byte at `offset`.
  std::string string_at(unsigned offset) const { return string(u8(offset)); }
  byte_span bytes() const { return bytes_; }

 private:
  cursor field(unsigned offset) const;

  byte_span bytes_;
};

/// The machine's SMBIOS table: found and copied on first use, then asked for its structures and for
/// what they tell about the machine.
class Dmi {
 public:
  static constexpr int k_table_size = 16384;       ///< bytes; a longer table is cut
  static constexpr unsigned k_indexed_types = 40;  ///< types from here on share one list

  Dmi() = default;
  Dmi(const Dmi&) = delete;
  Dmi& operator=(const Dmi&) = delete;
  ~Dmi() = default;

  /// Finds, copies and indexes the table once; later calls return the first result. Every query
  /// calls it.
  bool init();
  bool is_valid() const { return valid_; }  ///< what `init` found, false before it
  int get_smbios_revision();                ///< BCD: major in the high nibble; 0 without a table
  /// How many structures have the type; from k_indexed_types on all count together.
  unsigned get_num_structs(unsigned type);
  /// The index-th structure (from 0) of the type in table order; false when there is none. It is a
  /// view of this object's table.
  smbios_structure get_struct(unsigned type, unsigned index);

  /// The number-th string, see smbios_structure::string; "" also for a negative number.
  static std::string getString(int number, const smbios_structure& structure);
  /// A product name's first 64 characters, or what a "-[8670-4RX]-" in them says: "8670".
  static std::string getArchitectedString(int number, const smbios_structure& structure);
  /// Name of an enclosure type (DSP0134, type 3) without its lock bit; "Unknown" for others.
  static const char* getChassisType(unsigned char type);
  /// Whole length at the start of `rest`, bounded by it; 0 when no structure fits.
  static unsigned getLengthOfStructure(byte_span rest);
  /// Names of a memory module's type bits, joined with ", "; "None" when no bit is set, "Error:
  /// Invalid Type" for a reserved bit.
  static std::string getType06MemoryType(unsigned bits);
  /// Name of a memory device's type; "Error: Invalid Type" for others.
  static const char* getType17MemoryType(unsigned code);
  /// Name of a memory device's form factor; "Unknown" for others.
  static const char* getType17FormFactor(unsigned code);

  /// What the first structure of the type needed tells; "Unknown" without one, "" where it names no
  /// text.
  std::string get_make();
  std::string get_model();
  std::string get_serial_number();  ///< of the system, else of the enclosure
  std::string get_uuid();           ///< 32 lower-case hexadecimal digits in stored order
  std::string get_bios_build();
  gathered_date get_bios_date();  ///< not valid when there is none

  /// The designation of the first PCI slot with that id (at most 63 characters), else the id
  /// itself.
  std::string get_pci_slot_name(int slot_id);
  /// Fills at most `size` ids of PCI and PCI-X slots, 0 left out, and returns how many.
  int get_num_pci_slots(uint16_t* ids, int size);
  /// False also when no slot has that id.
  bool is_pci_slot_in_use(int slot_id);

  // What the interface promises and no program calls:
  std::string get_enclosure_type();   ///< see getChassisType
  int get_total_installed_memory();   ///< MB; 0 without a table
  int get_num_memory_slots();         ///< -1 without a table
  int get_total_memory_capability();  ///< MB; -1 when unknown
  /// MB in the slot (from 1); -1 when unknown or there is no such slot, 0 without a table.
  int get_installed_memory_size(unsigned slot);
  /// "SDRAM DIMM"; "Unknown" without a table or such a slot.
  std::string get_installed_memory_type(unsigned slot);
  uint32_t get_checksum();      ///< weighted sum of the table's bytes
  bool get_wmi_smbios_table();  ///< always false on this platform

  /// Finds and copies the table anew; false when there is none or it cannot be read. For `init`.
  bool get_table();

  /// The one object that SysInfo and others share, created and initialised on first use.
  static Dmi& get_instance();
  static Dmi* instance;  ///< null before that

 private:
  static constexpr size_t k_entry_point_size = 15;
  using structure_list = std::vector<smbios_structure>;

  const structure_list& structures(unsigned type);
  smbios_structure find_pci_slot(int slot_id);

  // For the facts about memory, which no program calls for:
  bool has_table();
  smbios_structure find_memory_device(unsigned slot);

  bool find_entry_point(byte_span area);
  bool copy_table(byte_span area, unsigned long address, size_t length);
  void compute_checksum();
  void index_structures();

  bool valid_ = false;
  bool initialised_ = false;
  std::array<unsigned char, k_entry_point_size> entry_point_{};
  std::vector<unsigned char> table_;  // k_table_size bytes, zero behind what was copied
  size_t length_ = 0;                 // that the entry point tells, cut to the same size
  uint32_t checksum_ = 0;
  std::array<structure_list, k_indexed_types + 1> structures_;
};

}  // namespace kestrel
