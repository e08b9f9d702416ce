// Every task, group and probe of the system, in run order: the table of what a run does. Within one
// order number the sequence here is the sequence of the report's sections. A group stands before
// the probes that it holds.
#include "gatherer/file_task.h"
#include "gatherer/gatherer_probe.h"
#include "gatherer/gthfile_task.h"
#include "gatherer/probe.h"
#include "gatherer/summary.h"
#include "probes/boot_linux.h"
#include "probes/browser.h"
#include "probes/cpu.h"
#include "probes/display_linux.h"
#include "probes/dmi_info.h"
#include "probes/environment_linux.h"
#include "probes/filescan_probe.h"
#include "probes/firmware_probe.h"
#include "probes/fs_linux.h"
#include "probes/fs_partitions_linux.h"
#include "probes/memory_probe.h"
#include "probes/modules_linux.h"
#include "probes/net_probe.h"
#include "probes/pci_probe.h"
#include "probes/postbox_task.h"
#include "probes/ps_probe.h"
#include "probes/regional_linux.h"
#include "probes/resources_linux.h"
#include "probes/schedule_linux.h"
#include "probes/scsi_probe.h"
#include "probes/software_linux.h"
#include "probes/tz_info.h"
#include "probes/users_linux.h"

namespace kestrel {
namespace {

// LINUX is this platform, MOST includes it, OTHERS never applies here.
enum platform_mask { LINUX = 0x0001, MOST = 0x2F71, OTHERS = 0x2F70 };

// The shell commands of "System Logs". Compressed logs are read as they are on purpose.
constexpr const char k_messages[] = "cat $(ls -rt /var/log/messages*) | tail -n 500";
// In another locale grep would drop lines with bytes that do not decode, without -a all of them
// when a crash left zero bytes in the log.
constexpr const char k_kernel[] =
    "export LC_ALL=C; cat $(ls -rt /var/log/messages* | egrep -v 'bz2|gz') | grep -a \"kernel:\" | "
    "tail -n 500";
constexpr const char k_boot[] = "cat /var/log/boot | tail -n 500";
constexpr const char k_boot_suse[] = "cat /var/log/boot.msg | tail -n 500";
constexpr const char k_boot_redhat[] = "cat /var/log/boot.log | tail -n 500";

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

timezone_probe        timezone_probe_instance("TIME ZONE", 15,                          2, MOST,   0xFFEF);
timezone_probe        talv_timezone_probe("Time Zone Info", 15,                         2, MOST,   0x0010);

probe_group           sys_config("Workstation Security", 16, "Workstation Security", true);
passwd_probe          passwd(sys_config, "Users",                                       2, LINUX,  0xFFFF);

probe_group           scsi_devices("SCSI Devices", 16, "SCSI Devices", true);
scsi_table            new_scsi_table_instance(scsi_devices, "SCSI PROBE",               3, MOST,   0xFFF1);
optical_table         optical_table_instance(scsi_devices, "OPTICAL PROBE",             5, OTHERS, 0xFFD1);
optical_table_uc2     optical_table_uc2_instance(scsi_devices, "OPTICAL PROBE 2",       5, OTHERS, 0x10020);

probe_group           scheduled_tasks("Scheduled Tasks", 16, "Scheduled Tasks", true);
crontab_probe         crontab(scheduled_tasks, "Crontab",                               3, LINUX,  0xFFFF);

// Two of these share a name on purpose.
probe_group           resource_info("Resource Information", 16, "Resource Information", true);
dma_probe             dma(resource_info, "Memory Mapped I/O",                           3, LINUX,  0xFFFF);
iomem_probe           iomem(resource_info, "Memory Mapped I/O",                         3, LINUX,  0xFFFF);
ioports_probe         ioports(resource_info, "I/O Ports",                               3, LINUX,  0xFFFF);
interrupts_probe      interrupts(resource_info, "Interrupts",                           3, LINUX,  0xFFFF);

probe_group           processes("Processes", 16, "Processes", true);
ps_probe              ps_probe_instance(processes, "ps probe",                          3, LINUX,  0xFFEF);

pci_probe             pci_probe_instance("PCI DEVICES", 16,                             3, MOST,   0xFFFF);
pci_adapter_probe     pci_adapter_probe_instance("PCI ADAPTER INFORMATION", 16,         3, MOST,   0x0041);

packages_probe        package_info("Installed Software", 16,                            1, LINUX,  0xFFEF);

probe_group           net_section("NETWORK", 16, "NETWORK", true);
net_probe             net_probe_instance(net_section, "NETWORK",                        3, LINUX,  0xFFFF);
hosts_probe           hosts(net_section, "Hosts",                                       2, LINUX,  0xFFFF);
resolv_probe          resolv(net_section, "Resolver Configuration",                     2, LINUX,  0xFFFF);

probe_group           modules_info("Device Driver Information", 16, "Device Driver Information", true);
modules_probe         modules_probe_instance(modules_info, "Kernel Modules",            4, LINUX,  0xFFFF);
loaded_modules_probe  loaded_modules_probe_instance(modules_info, "Loaded Modules",     3, LINUX,  0xFFFF);
file_probe            modules_conf(modules_info, "Modules Configuration", "/etc/modules.conf",
                                                                                        3, LINUX,  0xFFEF);

probe_group           memory_info("MEMORY INFORMATION", 16, "MEMORY INFORMATION", true);
memory_probe          memory_probe_instance_win32(memory_info, "Memory Probe",          2, OTHERS, 0xFFEF);
memory_probe          memory_probe_instance_linux(memory_info, "Memory Probe",          2, LINUX,  0xFFFF);

probe_group           partition_info("Partition Information", 16, "Partition Information", true);
disk_probe            disk_probe_instance(partition_info, "Mounted Filesystems",        2, LINUX,  0xFFFF);
partition_probe       partition_probe_instance(partition_info, "Partition Information", 2, LINUX,  0xFFFF);

probe_group           firmware_info("Firmware Information", 16, "Firmware Information", true);
firmware_probe        firmware_probe_instance(firmware_info, "Firmware Probe",          3, MOST,   0xFFEF);

filescan_probe        filescan_probe_instance("FILESCAN", 16,                           1, MOST,   0xFFE1);

environment_probe     environment_probe_instance("ENVIRONMENT", 16,                     2, LINUX,  0xFFEF);

probe_group           display_info("Display Information", 16, "Display Information", true);
display_probe         display_probe_instance(display_info, "Display Settings",          3, LINUX,  0xFFFF);
file_probe            xorgconf(display_info, "XOrg Configuration", "/etc/X11/xorg.conf",
                                                                                        4, LINUX,  0xFFEF);
file_probe            xfconf(display_info, "XFree86 Configuration", "/etc/X11/XF86Config",
                                                                                        4, LINUX,  0xFFEF);
file_probe            xf4conf(display_info, "XFree86-4 Configuration", "/etc/X11/XF86Config-4",
                                                                                        4, LINUX,  0xFFEF);

cpu_probe             cpu_probe_instance("CPU Information", 16,                         1, MOST,   0xFFEF);

probe_group           browser_info("BROWSER INFORMATION", 16, "BROWSER INFORMATION", true);
browser_probe         browser_probe_instance(browser_info, "Browser Probe",             1, MOST,   0xFFEF);

probe_group           startup("Linux Startup Information", 16, "Linux Startup Information", true);
file_probe            inittab(startup, "INIT Configuration", "/etc/inittab",            2, LINUX,  0xFFEF);
grub_probe            grub_probe_instance(startup, "GRUB configuration",                2, LINUX,  0xFFFF);
boot_probe            boot_probe_instance(startup, "Current boot properties",           2, LINUX,  0xFFFF);
rcd_probe             rcd_probe_instance(startup, "Startup services",                   2, LINUX,  0xFFFF);

smbios_probe          smbios_probe_instance("SMBIOS INFORMATION", 16,                   1, MOST,   0xFFEF);
smbios_probe          talv_smbios_probe_instance("SMBIOS INFO", 16,                     1, MOST,   0x0010);

locale_probe          locale_probe_instance("REGIONAL SETTINGS", 16,                    3, MOST,   0xFFFF);

probe_group           logs("System Logs", 17, "System Logs", true);
list_probe            messages(logs, "System Log", "/var/log/messages", k_messages,     4, LINUX,  0xFFEF);
list_probe            kernel(logs, "Kernel Log", "/var/log/messages", k_kernel,         4, LINUX,  0xFFEF);
list_probe            boot(logs, "/var/log/boot", "/var/log/boot", k_boot,              4, LINUX,  0xFFEF);
list_probe            boot_suse(logs, "/var/log/boot.msg", "/var/log/boot.msg", k_boot_suse,
                                                                                        4, LINUX,  0xFFEF);
list_probe            boot_redhat(logs, "/var/log/boot.log", "/var/log/boot.log", k_boot_redhat,
                                                                                        4, LINUX,  0xFFEF);

postbox_task          postbox_task_instance("Gathering plug-in output files", 18, 0x0040);
probe_list_task       probe_list_task_instance("List Probes", 22, 0x0010);

// ---- closing -------------------------------------------------------------------------------
xml_output_file_task  close_xml_output_file("Close XML Output File", 25);
txt_output_file_task  close_txt_output_file("Close Text Output File", 25);
html_output_file_task close_html_output_file("Close HTML Output File", 25);
gthfile_task          close_gthfile("Close Gatherer File", 26);
// clang-format on

}  // namespace
}  // namespace kestrel
