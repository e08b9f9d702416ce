// The database of PCI names, read from pcidb.txt: one record a line, a kind letter, an id in
// hexadecimal and a name in UTF-8. The order of the lines carries the structure:
//
//   V 8086 name       vendor
//   D 1237 name       device of the vendor above
//   R 02 name         revision of the device directly above
//   O 1af4 name       subsystem vendor of the device above
//   S 1100 name       subsystem of the O record above
//   X 1af41100 name   subsystem of the device above by both ids
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

/// One line of the database, read as far as it makes sense.
struct pcidb_record {
  char kind;
  uint32_t id = 0;
  std::string_view name;  ///< points into the line
};
/// Nothing when the line is not a record: a comment, a blank line. A name is cut to 256 bytes, an
/// id clamped to 32 bits.
std::optional<pcidb_record> parse_pcidb_line(std::string_view line);

/// The names: the file's text, in which the few that a machine needs are looked for. A record holds
/// until the next load.
class pci_database {
 public:
  pci_database() { clear(); }

  /// Loads pcidb.txt from the current folder, or else from the program's folder, or else from the
  /// data folder of an installation. Returns the number of records.
  int load();
  /// Replaces the content by that of one file; 0 when it cannot be read. Of a file beyond any
  /// database the first 16 MB count.
  int load(const char* path);
  /// The same from a stream that can be rewound and stays the caller's. `name` is for the log.
  int load(FILE* in, const char* name);

  /// Number of records.
  int size() const { return count_; }
  /// Bytes of the longest name, its terminator included.
  int longest_name() const { return longest_name_; }

  /// Names, "Unknown" when there is no record. They belong to the database.
  const char* get_vendor_name(unsigned vendor) const;
  const char* get_device_name(unsigned vendor, unsigned device, unsigned revision) const;
  const char* get_subsys_device_name(unsigned vendor, unsigned device, unsigned revision,
                                     unsigned subsystem_vendor, unsigned subsystem_device) const;
  const char* get_subsys_vendor_name(unsigned vendor, unsigned subsystem_vendor,
                                     unsigned subsystem_device) const;

  /// The same as wide text, cut to `size` characters of `out`, which they return.
  wchar_t* get_vendor_name(wchar_t* out, size_t size, unsigned vendor) const;
  wchar_t* get_device_name(wchar_t* out, size_t size, unsigned vendor, unsigned device,
                           unsigned revision) const;
  /// The two subsystem ids stand the other way round on purpose.
  wchar_t* get_subsys_device_name(wchar_t* out, size_t size, unsigned vendor, unsigned device,
                                  unsigned revision, unsigned subsystem_device,
                                  unsigned subsystem_vendor) const;
  wchar_t* get_subsys_vendor_name(wchar_t* out, size_t size, unsigned vendor,
                                  unsigned subsystem_vendor, unsigned subsystem_device) const;

  // What the interface promises and no program calls:
  /// Record indexes; -1 when there is none. A device of that revision comes before the device
  /// alone. A subsystem without a record is that of its vendor below the device, else the device.
  int get_vendor(unsigned vendor) const;
  int get_device(unsigned vendor, unsigned device, unsigned revision) const;
  int get_subsys_device(unsigned vendor, unsigned device, unsigned revision,
                        unsigned subsystem_vendor, unsigned subsystem_device) const;
  int get_subsys_vendor(unsigned vendor, unsigned subsystem_vendor,
                        unsigned subsystem_device) const;

  /// The one object of the process, created and loaded on first use.
  static pci_database& get_instance();
  static pci_database* instance;  ///< null before that

 private:
  // A record: its index, and where its line begins in text_.
  struct place {
    uint32_t id = 0;
    int index = -1;
    size_t at = 0;
  };
  class walk;
  void clear();
  void read_text(FILE* in);
  void index_records();
  void log_ignored_lines() const;
  const std::vector<place>& devices_of(const place& vendor) const;
  place find_vendor(unsigned vendor) const;
  place find_device(unsigned vendor, unsigned device, unsigned revision) const;
  place find_subsys_device(unsigned vendor, unsigned device, unsigned revision,
                           unsigned subsystem_vendor, unsigned subsystem_device) const;
  place find_subsys_vendor(unsigned vendor, unsigned subsystem_vendor,
                           unsigned subsystem_device) const;
  const char* name_of(const place& record) const;

  std::unique_ptr<char[]> bytes_;
  std::string_view text_;
  int count_;
  int longest_name_;
  std::vector<place> vendors_;  // in file order
  // What was asked for: the devices of a vendor, by the vendor's index, and names.
  mutable std::map<int, std::vector<place>> devices_;
  mutable std::set<std::string, std::less<>> names_;
};

}  // namespace kestrel
