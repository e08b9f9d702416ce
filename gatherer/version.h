// Texts that identify the product and this build of it.
#pragma once

namespace kestrel {

/// What the banner, the reports and the debug log show.
extern const char* const k_title;
extern const char* const k_version;
extern const char* const k_release;
extern const char* const k_copyright;
extern const char* const k_legal_notice;
extern const char* const k_product_numbers;
extern const char* const k_government_legend;
/// Build stamp: UTC date and time of the source, and the names the build was configured with.
extern const char* const k_build_date;
extern const char* const k_build_time;
extern const char* const k_build_user;
extern const char* const k_build_host;

/// Title word and text of the consent prompt.
extern const char* const k_disclaimer_title;
extern const char* const k_disclaimer_text;

/// Name of the companion kernel driver that "-install" and "-uninstall" hand over.
extern const char* const k_driver_reference;

}  // namespace kestrel
