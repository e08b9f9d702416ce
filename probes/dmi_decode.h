// Decoders of SMBIOS fields: each turns the value of one field into words. A code outside its
// enumeration gives a text that begins with "Error: Invalid"; bit fields join the names of the set
// bits with ", ", where a bit without a name is "Error: Invalid Type", and give "None" when no bit
// is set.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kestrel {

/// Type 0: size in units of 64K, less one. Only whole powers of two up to 8M have a name.
std::string getRomSize(uint32_t code);
/// Type 1.
std::string getWakeUpType(uint32_t code);
/// Type 3. The lock flag (bit 7 of the chassis type) is not looked at, and an unknown chassis is
/// "Unknown".
std::string getChassisName(uint32_t type);
std::string getChassisState(uint32_t code);
std::string getSecurityStatus(uint32_t code);
/// Type 4. The status is bits 0 to 2; without bit 6 the socket is "Unpopulated".
std::string getProcessorType(uint32_t code);
std::string getProcessorFamily(uint32_t code);
std::string getProcessorStatus(uint32_t status);
std::string getProcessorUpgrade(uint32_t code);
/// Types 5 and 6. A size code from 0 to 30 is a power of two in MB ("512 M"); a module's size has
/// bit 7 for its banks and codes of its own for "not installed" and the like.
std::string getMemCtrlErrDetect(uint32_t code);
std::string getMemCtrlCorCapable(uint32_t bits);
std::string getMemCtrlInterleave(uint32_t code);
std::string getMemoryModuleVoltage(uint32_t bits);
std::string getMemorySpeeds(uint32_t bits);
std::string getMemoryType(uint32_t bits);
std::string getPowerOfTwoMemorySize(uint32_t code);
std::string getMemoryModuleSize(uint32_t size);
/// Type 7. Level and mode are bits of the configuration word: 0 to 2 ("L1" to "L8") and 8 to 9.
std::string getCacheLevel(uint32_t configuration);
std::string getCacheMode(uint32_t configuration);
std::string getCacheSize(uint32_t size);  ///< "512 K"; in units of 64K with bit 15, else of 1K
std::string getCacheSRAMType(uint32_t bits);
std::string getErrorCorrectionType(uint32_t code);
std::string getSystemCacheType(uint32_t code);
std::string getAssociativity(uint32_t code);
/// Type 8.
std::string getPortType(uint32_t code);
std::string getConnectorType(uint32_t code);
/// Type 9.
std::string getSlotType(uint32_t code);
std::string getSlotDataBusWidth(uint32_t code);
std::string getSlotUsage(uint32_t code);
std::string getSlotLength(uint32_t code);
std::string getSlotCharacteristics(uint32_t bits);
std::string getSlotCharacteristics2(uint32_t bits);  ///< the second byte, from 2.1 on
/// Type 10. Bit 7 of the type, the device's enabled flag, is not looked at.
std::string getDeviceType(uint32_t type);
/// "Enabled" or "Disabled": bit 7 of an on-board device's type or of a cache's configuration.
std::string getEnabled(uint32_t value);
/// Type 13: "en|US|iso8859-1" or, in the abbreviated format, "enUS".
std::string getLanguage(std::string_view code);
/// Types 16 to 18.
std::string getArrayLocation(uint32_t code);
std::string getUse(uint32_t code);
std::string getErrorCorrection(uint32_t code);
/// "512 M" for whole megabytes, else "640 K"; 80000000h is "Unknown".
std::string getArrayCapacity(uint32_t kilobytes);
std::string getFormFactor(uint32_t code);  ///< "Unknown" for a code without a name
std::string getMemoryDeviceType(uint32_t code);
std::string getMemoryDetail(uint32_t bits);
std::string getMemoryErrorType(uint32_t code);
std::string getMemoryErrorGranularity(uint32_t code);
std::string getMemoryErrorOperation(uint32_t code);
/// Type 21.
std::string getMouseType(uint32_t code);
std::string getMouseInterface(uint32_t code);
/// Types 22 to 24. Each status of type 24 is two bits of the settings byte.
std::string getBatteryChemistry(uint32_t code);
/// "2006-08-15" from day (bits 0-4), month (5-8) and year less 1980 (9-15), unchecked; "" for 0.
std::string getBatteryDate(uint32_t packed);
std::string getResetCapabilities(uint32_t bits);
std::string getPowerOnPasswordStatus(uint32_t settings);
std::string getKeyboardPasswordStatus(uint32_t settings);
std::string getAdministratorPasswordStatus(uint32_t settings);
std::string getFrontPanelResetStatus(uint32_t settings);
/// Types 26 to 29: place or kind in bits 0 to 4, status in bits 5 to 7.
std::string getElectricalProbePlace(uint32_t code);
std::string getTemperatureProbePlace(uint32_t code);
std::string getCoolingDevice(uint32_t code);
/// Type 32. From 128 on the code is the vendor's, from 192 on the product's own.
std::string getBootStatus(uint32_t code);

/// Plain values, in hexadecimal or decimal.
std::string smbios_own_handle(uint32_t handle);  ///< "001F"
std::string smbios_hex2(uint32_t value);         ///< "1Fh"
std::string smbios_hex4(uint32_t value);         ///< "001Fh"
std::string smbios_hex8(uint32_t value);         ///< "0000001Fh"
/// The same; "Unknown" for 80000000h.
std::string smbios_error_address(uint32_t address);
/// As smbios_hex2; "Unknown" for FFh.
std::string smbios_position(uint32_t position);
std::string smbios_decimal(uint32_t value);

/// Readings of probes, a signed word in the unit named, as "330.0 mV", "mA", "deg C" or "%";
/// "Unknown" for 8000h.
std::string smbios_millivolts(uint32_t word);
std::string smbios_millivolt_tenths(uint32_t word);
std::string smbios_milliamperes(uint32_t word);
std::string smbios_milliampere_tenths(uint32_t word);
std::string smbios_degree_tenths(uint32_t word);
std::string smbios_degree_thousandths(uint32_t word);
std::string smbios_percent_hundredths(uint32_t word);

}  // namespace kestrel
