// Runs the reports of rpm and of dpkg, whichever of them the machine has, in one section of the
// report.
#include "probes/software_linux.h"

#include "lib/section.h"
#include "probes/deb_software.h"
#include "probes/rpm_software.h"

namespace kestrel {

bool packages_probe::test() { return rpm_packages_test() || deb_packages_test(); }

bool packages_probe::run(FILE* fp) {
  start_section(fp, "Installed Software");
  if (rpm_packages_test()) write_rpm_packages(fp);
  if (deb_packages_test()) write_deb_packages(fp);
  end_section(fp);
  return true;
}

}  // namespace kestrel
