// Every task, group and probe of the system, in run order: the table of what a run does. Within one
// order number the sequence here is the sequence of the report's sections. A group stands before
// the probes that it holds.
#include "gatherer/file_task.h"
#include "gatherer/gatherer_probe.h"
#include "gatherer/gthfile_task.h"
#include "gatherer/probe.h"
#include "gatherer/summary.h"
#include "probes/boot_linux.h"
#include "probes/dmi_info.h"
#include "probes/filescan_probe.h"
#include "probes/modules_linux.h"
#include "probes/net_probe.h"
#include "probes/pci_probe.h"
#include "probes/postbox_task.h"
#include "probes/software_linux.h"

namespace kestrel {
namespace {

// Platforms: LINUX is this one, MOST includes it, OTHERS never applies here.
enum platform_mask { LINUX = 0x0001, MOST = 0x2F71 };

// The shell commands of "System Logs". Compressed logs are read as they are on purpose.
constexpr const char k_messages[] = "cat $(ls -rt /var/log/messages*) | tail -n 500";
// In another locale grep would drop lines with bytes that do not decode.
constexpr const char k_kernel[] =
    "export LC_ALL=C; cat $(ls -rt /var/log/messages* | egrep -v 'bz2|gz') | grep \"kernel:\" | "
    "tail -n 500";

// clang-format off
// ---- report and gather file ----------------------------------------------------------------
xml_output_file_task  create_xml_output_file("Create XML Output File", 8);
stdout_output_task    talv_output_instance("Output to stdout", 8);
txt_output_file_task  create_txt_output_file("Create Text Output File", 8);
html_output_file_task create_html_output_file("Create HTML Output File", 8);
gthfile_task          create_gthfile("Create Gatherer File", 9);
gthfile_task          open_gthfile("Open Gatherer File", 10);

// ---- probes and their groups                                                    detail  platforms  customers
probe_group           system_summary("SYSTEM SUMMARY", 13, "SYSTEM SUMMARY", true);
sysinfo_probe         sysinfo_instance(system_summary, "System Summary",                1, MOST,   0xFFE1);
old_sysinfo_probe     old_sysinfo_instance(system_summary, "System Summary",            1, MOST,   0x001E);

gatherer_probe        gatherer_probe_instance("GATHERER INFORMATION", 14,               1, MOST,   0xFFEF);

pci_probe             pci_probe_instance("PCI DEVICES", 16,                             3, MOST,   0xFFFF);
pci_adapter_probe     pci_adapter_probe_instance("PCI ADAPTER INFORMATION", 16,         3, MOST,   0x0041);

packages_probe        package_info("Installed Software", 16,                            1, LINUX,  0xFFEF);

probe_group           net_section("NETWORK", 16, "NETWORK", true);
net_probe             net_probe_instance(net_section, "NETWORK",                        3, LINUX);
hosts_probe           hosts(net_section, "Hosts",                                       2, LINUX);
resolv_probe          resolv(net_section, "Resolver Configuration",                     2, LINUX);

probe_group           modules_info("Device Driver Information", 16, "Device Driver Information", true);
modules_probe         modules_probe_instance(modules_info, "Kernel Modules",            4, LINUX);
loaded_modules_probe  loaded_modules_probe_instance(modules_info, "Loaded Modules",     3, LINUX);
file_probe            modules_conf(modules_info, "Modules Configuration", "/etc/modules.conf", 3, LINUX, 0xFFEF);

filescan_probe        filescan_probe_instance("FILESCAN", 16,                           1, MOST,   0xFFE1);

probe_group           display_info("Display Information", 16, "Display Information", true);
file_probe            xorgconf(display_info, "XOrg Configuration", "/etc/X11/xorg.conf", 4, LINUX, 0xFFEF);
file_probe            xfconf(display_info, "XFree86 Configuration", "/etc/X11/XF86Config", 4, LINUX, 0xFFEF);
file_probe            xf4conf(display_info, "XFree86-4 Configuration", "/etc/X11/XF86Config-4", 4, LINUX, 0xFFEF);

probe_group           startup("Linux Startup Information", 16, "Linux Startup Information", true);
file_probe            inittab(startup, "INIT Configuration", "/etc/inittab",            2, LINUX,  0xFFEF);

grub_probe            grub_probe_instance(startup, "GRUB configuration",                2, LINUX);
boot_probe            boot_probe_instance(startup, "Current boot properties",           2, LINUX);
rcd_probe             rcd_probe_instance(startup, "Startup services",                   2, LINUX);

smbios_probe          smbios_probe_instance("SMBIOS INFORMATION", 16,                   1, MOST,   0xFFEF);
smbios_probe          talv_smbios_probe_instance("SMBIOS INFO", 16,                     1, MOST,   0x0010);

probe_group           logs("System Logs", 17, "System Logs", true);
list_probe            messages(logs, "System Log", "/var/log/messages", k_messages,     4, LINUX,  0xFFEF);
list_probe            kernel(logs, "Kernel Log", "/var/log/messages", k_kernel,         4, LINUX,  0xFFEF);
list_probe            boot(logs, "/var/log/boot", "/var/log/boot",
                           "cat /var/log/boot | tail -n 500",                           4, LINUX,  0xFFEF);
list_probe            boot_suse(logs, "/var/log/boot.msg", "/var/log/boot.msg",
                           "cat /var/log/boot.msg | tail -n 500",                       4, LINUX,  0xFFEF);
list_probe            boot_redhat(logs, "/var/log/boot.log", "/var/log/boot.log",
                           "cat /var/log/boot.log | tail -n 500",                       4, LINUX,  0xFFEF);

// ---- closing -------------------------------------------------------------------------------
postbox_task          postbox_task_instance("Gathering plug-in output files", 18, 0x0040);
probe_list_task       probe_list_task_instance("List Probes", 22, 0x0010);
xml_output_file_task  close_xml_output_file("Close XML Output File", 25);
txt_output_file_task  close_txt_output_file("Close Text Output File", 25);
html_output_file_task close_html_output_file("Close HTML Output File", 25);
gthfile_task          close_gthfile("Close Gatherer File", 26);
// clang-format on

}  // namespace
}  // namespace kestrel
