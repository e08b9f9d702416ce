// The firmware's vital product data block (AA 55 "VPD") in the BIOS area.
#pragma once

#include <string>

namespace kestrel {

/// The block's texts.
class Vpd {
 public:
  Vpd() = default;
  /// Finds the block once; true when it is there whole and its texts are sane. Later calls return
  /// the first result.
  bool init();
  bool is_valid() const { return valid_; }
  /// Each runs `init` when it has not run; "Unknown" without a valid block.
  std::string get_make();  ///< the one maker whose firmware has the block
  std::string get_model();
  std::string get_serial_number();

  // What the interface promises and no program calls:
  std::string get_motherboard_serial_number();
  std::string get_bios_version();

 private:
  bool valid_ = false;
  bool initialised_ = false;
  std::string make_, model_, serial_, motherboard_serial_, bios_version_;
};

}  // namespace kestrel
