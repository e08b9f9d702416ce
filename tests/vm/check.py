#!/usr/bin/env python3
"""Compares the report that the program made in an emulated PC with what the machine was given and
with what other readers saw in the same machine.

  check.py MACHINE-FILE FOLDER

FOLDER holds what guest.sh left: the gather file, console, debug log and the readers' outputs. Every
difference is a line on standard output; the exit status is 1 when there is one.
"""
import glob
import ipaddress
import json
import os
import re
import struct
import sys
from collections import Counter
from datetime import datetime
from xml.etree import ElementTree

HERE = os.path.dirname(os.path.abspath(__file__))
sys.dont_write_bytecode = True
sys.path[:0] = [HERE, os.path.join(HERE, "..", "run")]
import gather  # noqa: E402
import smbios  # noqa: E402
import smbios_tables  # noqa: E402


class Machine:
    """What was given to the machine, the report, and the other readers' outputs."""

    def __init__(self, machine, folder):
        self.folder = folder
        self.faults = []
        self.compared = 0
        self.seen = [line.split(None, 2)[1:] for line in open(machine) if line.startswith("has ")]
        self.options = [line.split(None, 1) for line in open(machine) if line.startswith("-")]
        self.disks = dict(line.split()[1:] for line in open(machine) if line.startswith("disk "))
        self.structures = list(smbios.structures(machine.replace(".machine", ".smbios")))
        [self.gather_file] = glob.glob(os.path.join(folder, "*.KS2"))
        self.report = gather.Report(gather.report_of(self.gather_file))
        # On standard output the sections stand alone.
        inline = gather.Report.__new__(gather.Report)
        inline.text, inline.at, inline.sections = self.read("inline"), 0, self.report.sections
        while inline.at < len(inline.text):
            inline.section()
        product = self.given("-smbios", kind="type=1")[0]
        bracket = re.search(r"-\[([^\]-]*)[^\]]*\]-", product["product"])
        self.identity = (product["manufacturer"], bracket.group(1) if bracket else
                         product["product"], product["serial"],
                         smbios_tables.stored_uuid(self.given("-uuid")[0]["kind"]))

    def given(self, option, **wanted):
        """The options of this kind whose values include the wanted ones, each as a dictionary."""
        found = []
        for word, rest in self.options:
            pieces = re.split("(?<!,),(?!,)", rest.strip())
            values = dict((p.replace(",,", ",").split("=", 1) + [""])[:2] for p in pieces)
            values["kind"] = pieces[0]
            if word == option and all(values.get(k) == v for k, v in wanted.items()):
                found.append(values)
        return found

    def read(self, name):
        path = os.path.join(self.folder, "readers", name)
        return open(path, errors="replace", newline="").read()

    def split(self, name, separator=None):
        return [line.split(separator) for line in self.read(name).split("\n")[:-1]]

    def rows(self, section, table):
        """The table's rows as dictionaries, values trimmed."""
        for name, rows in [t for title, tables in self.report.sections if title == section
                           for t in tables]:
            if name == table:
                return [{n: v.strip() for n, v in row} for row in rows]
        self.fault("there is no table %s / %s", section, table)
        return []

    def fault(self, text, *values):
        self.faults.append(text % values)

    def equal(self, what, found, wanted):
        self.compared += 1
        if found != wanted:
            self.fault("%s: %r, should be %r", what, found, wanted)

    def same_rows(self, what, found, wanted):
        """Rows in any order."""
        found, wanted = (Counter(tuple(map(str, row)) for row in rows) for rows in (found, wanted))
        self.compared += max(1, sum(wanted.values()))
        if not wanted:
            self.fault("%s: the other reader saw nothing", what)
        for row in wanted - found:
            self.fault("%s: no row %r", what, row)
        for row in found - wanted:
            self.fault("%s: unexpected row %r", what, row)

    def same_table(self, section, table, columns, wanted):
        """Compares these columns of the report's table."""
        names = columns.split(", ")
        self.same_rows(table, [[row.get(n) for n in names] for row in self.rows(section, table)],
                       wanted)


def check_run(m):
    m.equal("set-up of the machine", m.read("../setup.log"), "")
    for reader, pattern in m.seen:
        m.equal("%s of the machine shows %s" % (reader, pattern.strip()),
                bool(re.search(pattern.strip(), m.read(reader), re.M)), True)
    m.equal("exit status", m.read("../status").strip(), "0")
    m.equal("standard output", m.read("../stdout"), "")
    for name, status in re.findall(r"^(\S.*?) \.+ (.*)$", m.read("../console"), re.M):
        if "fail" in status.lower():
            m.fault("task %s: %s", name, status)


def check_gather_file(m):
    """The report's sums and tables were checked when it was read."""
    host = m.read("hostname").strip()
    m.same_table("SYSTEM SUMMARY", "System Summary",
                 "System Vendor, System Model, System Serial Number, UUID", [m.identity])
    m.equal("name", os.path.basename(m.gather_file), "%s-%s-%s.KS2" % m.identity[:3])
    data = open(m.gather_file, "rb").read()
    items = gather.items(data)
    m.equal("items", [item[0] for item in items], [1, 17, 15])
    hour, minute, second, day, month, year = struct.unpack("<5BH", data[10:17])
    *block, stamp, user, domain = gather.content(items[0]).decode().splitlines()
    m.equal("identity block", [line[0] for line in block] + [line[1:] for line in block] +
            [user, domain], [*"CVMSU", host, *m.identity, "Lroot", "K"])
    began, ended = (datetime.utcfromtimestamp(int(m.read(name))) for name in ("began", "ended"))
    for when in (datetime(year, month, day, hour, minute, second),
                 datetime.strptime(stamp, "T%Y%m%d-%H%M%S")):
        m.equal("stamp in the run", began <= when <= ended, True)
    scan = ElementTree.fromstring(gather.content(items[1]))
    m.equal("identity in the file scan", [cell.text for cell in scan.find("vpd")],
            [host, *m.identity, "Linux"])
    files = scan.find("filescan/scanned_files")
    m.same_rows("scanned files", [[cell.text or "" for cell in f] for f in files],
                scanned(m, "scanned"))


def scanned(m, reader, is_full=True, blanks=0):
    users, groups = ({fields[2]: fields[0] for fields in m.split(name, ":")}
                     for name in ("passwd", "group"))
    for name, folder, *times, size, mode, user, group in m.split(reader, "|"):
        # The user's name is that of the group's number.
        yield (name, folder, *[t.replace("+", " ")[:19] for t in times if is_full],
               *[size] * is_full, mode.rjust(4, "0"), "%s (%s)" % (users.get(group, ""), user),
               "%s (%s)" % (groups.get(group, ""), group), *[""] * blanks)


def check_scan_inline(m):
    m.same_rows("files", [row.values() for row in m.rows("FILESCAN", "SCANNED FILES")],
                scanned(m, "scanned-inline", is_full=False, blanks=7))
    m.equal("section after the scan", m.report.sections[-1][0], "CPU Information")


def dmi_structures(text):
    """Yields type and fields of each part of dmidecode's listing; ", " joins what a field lists."""
    for block in re.split(r"\n\n+(?=Handle 0x)", text)[1:]:
        kind = int(re.search(r"DMI type (\d+),", block).group(1))
        handle = re.search(r"Handle 0x(\w+)", block).group(1)
        fields, last = {"Handle": handle}, None
        for line in block.splitlines()[2:]:
            match = re.match(r"\t([^\t:]+):(?: (.*))?$", line)
            if match:
                last = match.group(1)
                fields[last] = match.group(2) or ""
            elif line.startswith("\t\t") and last:
                fields[last] += (", " if fields[last] else "") + line.strip()
            elif line and not line.startswith("\t"):
                # A second part of the same structure.
                yield kind, fields
                fields, last = {"Handle": handle}, None
        yield kind, fields


def check_smbios(m):
    wanted, offered = {}, set()
    for kind, fields in dmi_structures(m.read("dmidecode")):
        offered.add(kind)
        if kind in smbios_tables.TABLES:
            wanted.setdefault(kind, []).extend(smbios_tables.rows(kind, fields))
    titles = [t for s, tables in m.report.sections if s == "SMBIOS INFORMATION" for t, _ in tables]
    m.equal("tables of structures", set(titles) - {"Supported Features"},
            {smbios_tables.TABLES[kind][0] for kind in wanted})
    given = {kind for kind, *_ in m.structures}
    given.update(int(values["kind"][5:]) for values in m.given("-smbios"))
    m.equal("given types that dmidecode lacks", given - offered, set())
    features = [row["Supported"] for row in m.rows("SMBIOS INFORMATION", "Supported Features")]
    for area in (area for kind, area, _ in m.structures if kind == 0):
        # From bit 2 on, and two bytes more, of which the last has two bits.
        bits = int.from_bytes(area[10:14], "little") >> 2 | area[18] << 30 | area[19] << 38
        m.equal("features", features, ["Yes" if bits >> n & 1 else "No" for n in range(40)])
    for kind, structures in sorted(wanted.items()):
        rows = m.rows("SMBIOS INFORMATION", smbios_tables.TABLES[kind][0])
        m.equal("type %d: rows" % kind, len(rows), len(structures))
        for row, fields in zip(rows, structures):
            for name, value in fields.items():
                m.equal("type %d, %s" % (kind, name), smbios_tables.plain(row.get(name)),
                        smbios_tables.plain(value))


def check_given_strings(m):
    given = [(kind, string) for kind, _, strings in m.structures for string in strings]
    for values in m.given("-smbios"):
        kind = int(values["kind"][5:])
        given += [(kind, values[k]) for k in values if k in (
            "vendor", "version", "date", "manufacturer", "product", "serial", "value", "bank",
            "asset", "part")]
    for kind, string in given:
        # Languages are printed in words of the program, and makers' own structures not at all.
        if kind in smbios_tables.TABLES and kind != 13:
            table = m.rows("SMBIOS INFORMATION", smbios_tables.TABLES[kind][0])
            cells = [cell for row in table for cell in row.values()]
            m.equal("type %d prints %r" % (kind, string), string in cells, True)


def pci_names():
    """The names of vendors by their number, and of devices by both numbers."""
    names, vendor = {}, None
    text = open("/usr/share/misc/pci.ids", errors="replace").read().split("\nC 00")[0]
    for tab, ident, name in re.findall(r"^(\t?)([0-9a-f]{4})  (.*)", text, re.M):
        vendor = vendor if tab else ident
        names[(vendor, ident) if tab else vendor] = name
    return names


CLASSES = {"01": "Storage", "02": "Network", "03": "Display", "06": "Bridge", "0c": "Serial"}


def check_pci(m):
    names, wanted, seen = pci_names(), [], set()
    for bus, device, function, kind, vendor, ident in re.findall(
            r"^(\w\w):(\w\w)\.(\d) (\w\w)\w\w: (\w{4}):(\w{4})", m.read("lspci"), re.M):
        # Functions behind a gap are not looked for.
        if all((bus, device, lower) in seen for lower in range(int(function))):
            seen.add((bus, device, int(function)))
            wanted.append((int(bus, 16), int(device, 16), function, "Unknown",
                           "0x%X" % int(vendor, 16), names[vendor], "0x%X" % int(ident, 16),
                           names[vendor, ident], CLASSES.get(kind, "Unknown"), "", ""))
    m.same_table("PCI DEVICES", "PCI Device Summary", "Bus, Device, Function, Slot, Vendor ID, "
                 "Vendor Name, Device ID, Device Name, Class, Product Name, Serial Number", wanted)
    tried = re.findall(r'"/proc/bus/pci/(\S+)".* = (-1|\d+)', m.read("opened"))
    m.equal("functions that are there are opened", len(tried) > 10, True)
    m.equal("absent functions are opened", [name for name, answer in tried if answer == "-1"], [])


def check_adapters(m):
    section = "PCI ADAPTER INFORMATION"
    # On some makers' machines the adapter list must not run.
    if m.given("-smbios", kind="type=1")[0]["manufacturer"].lower().startswith("toshiba"):
        m.equal("adapters listed", section in [title for title, _ in m.report.sections], False)
        return
    slots = [fields for kind, fields in dmi_structures(m.read("dmidecode"))
             if kind == 9 and "PCI" in fields["Type"] and fields["ID"] != "0"]
    m.same_table(section, "PCI Adapters", "Slot ID, Slot Name, In Use", [
        (f["ID"], f["Designation"], "Yes" if f["Current Usage"] == "In Use" else "No")
        for f in slots])


def storage_text(size):
    """As the report writes it: one decimal, cut; the SCSI probe, which comes first, has fixed 1000
    bytes to a kilobyte."""
    for power, name in ((4, "TB"), (3, "GB"), (2, "MB"), (1, "KB")):
        if size >= 1000 ** power:
            return "%d.%d %s" % (*divmod(size * 10 // 1000 ** power, 10), name)
    return "%d bytes" % size


def check_scsi(m):
    types = {"0": "Disk", "5": "CD-ROM"}
    wanted = []
    for node, block, address, kind, vendor, model, revision, sectors in m.split("scsi", "|"):
        host, channel, target, lun = address.split(":")
        unit = 2048 if kind == "5" else 512
        # The last block address counts for the number of blocks.
        size = storage_text(int(sectors) * 512 - unit)
        wanted.append((block or node, vendor.strip(), model.strip(), revision.strip(), types[kind],
                       host, channel, target, lun, size))
    m.same_table("SCSI Devices", "SCSI Devices", "Device, Vendor, Model, Revision, Type, Host, "
                 "Channel, Target, LUN, Capacity", wanted)


def check_given_disks(m):
    # libata names itself as the vendor of what it drives; an ATAPI drive takes no texts.
    texts = {"scsi-hd": "{vendor} {product}", "scsi-cd": "{vendor} {product}",
             "ide-hd": "ATA {model}", "usb-storage": "QEMU QEMU HARDDISK"}
    wanted = []
    for given in m.given("-device"):
        if given["kind"] in texts:
            [drive] = m.given("-drive", id=given["drive"])
            size = int(m.disks[os.path.basename(drive["file"])].rstrip("M")) << 20
            unit = 2048 if given["kind"] == "scsi-cd" else 512
            wanted.append((texts[given["kind"]].format(**given), given["serial"],
                           storage_text(size - unit)))
    rows = m.rows("SCSI Devices", "SCSI Devices")
    m.same_rows("given disks", [("%(Vendor)s %(Model)s" % row, row["Serial Number"],
                                 row["Capacity"]) for row in rows if row["Serial Number"]], wanted)


def check_firmware(m):
    [bios] = [fields for kind, fields in dmi_structures(m.read("dmidecode")) if kind == 0]
    month, day, year = bios["Release Date"].split("/")
    m.same_table("Firmware Information", "Firmware Information", "Firmware, Version, Date", [
        ("System BIOS", bios["Version"], "%s-%s-%s" % (("19" + year)[-4:], month, day)),
        ("Embedded Controller", "", "")])


def check_cpu(m):
    info = dict(re.findall(r"^(.*?)\s*: (.*)$", m.read("cpuinfo"), re.M))
    m.same_table("CPU Information", "CPU Family Information",
                 "Vendor, Family ID, Model ID, Stepping", [
                     ({"GenuineIntel": "Intel"}[info["vendor_id"]], info["cpu family"],
                      int(info["model"]) & 15, info["stepping"])])
    m.same_table("CPU Information", "CPU Flags", "Flag Name, Enabled", [
        (name, str(word in info["flags"].split()).lower()) for name, word in (
            ("MMX", "mmx"), ("SSE", "sse"), ("SSE2", "sse2"), ("Hyper-Threading", "ht"))])


def netmask(length):
    return str(ipaddress.ip_network("0.0.0.0/%s" % length).netmask)


def check_links(m):
    links = json.loads(m.read("links"))
    words = ["UP", "LOOPBACK", "BROADCAST", "POINTOPOINT", "MULTICAST", "NOARP"]
    types = {"none": "uknown type 65534"}
    m.same_table("NETWORK", "Network Interfaces", "Interface, Type, Address, MTU", [
        (link["ifname"], types.get(link["link_type"], link["link_type"]), link.get("address", ""),
         link["mtu"]) for link in links])
    for link, row in zip(links, m.rows("NETWORK", "Network Interfaces")):
        m.equal("flags of " + link["ifname"], [w for w in words if w in row["Flags"].split()],
                [w for w in words if w in link["flags"]])
    for row in m.rows("NETWORK", "Network Interface Statistics"):
        [link] = [k for k in links if k["ifname"] == row["Name"]]
        for way in ("rx", "tx"):
            for kind in ("packets", "bytes", "errors", "dropped"):
                # The counters run on between the two readers.
                before, now = link["stats64"][way][kind], int(row["%s %s" % (way, kind)])
                m.equal("%s %s %s" % (row["Name"], way, kind), before <= now < before + 5000, True)


def check_addresses(m):
    wanted = []
    for link in json.loads(m.read("addresses")):
        for a in link["addr_info"]:
            if a["family"] == "inet":
                wanted.append((a["label"], "inet", a["local"], netmask(a["prefixlen"]),
                               a.get("broadcast", ""), link["ifname"]))
    m.same_table("NETWORK", "Network Addresses",
                 "Name, Family, Address, Netmask, Broadcast, Interface", wanted)


def check_routes(m):
    types = {"blackhole": "drop", "prohibit": "prohibited"}
    scopes = {"link": "link", "host": "host"}
    wanted = []
    for route in json.loads(m.read("routes")):
        address, _, length = route["dst"].partition("/")
        kind = route.get("type", "unicast")
        length = "0" if address == "default" else length or "32"
        wanted.append((address, route.get("gateway", ""), netmask(length),
                       scopes.get(route.get("scope"), "universe"), types.get(kind, kind),
                       route.get("dev", "unknown")))
    m.same_table("NETWORK", "Network Routing Table",
                 "Destination, Gateway, Netmask, Scope, Type, Interface", wanted)


def check_rules(m):
    protocols = {None: "0", "icmp": "1", "tcp": "6", "udp": "17"}
    wanted = []
    rows = m.rows("NETWORK", "iptables INPUT Chain")
    for row, (packets, octets, rule) in zip(rows, re.findall(
            r"^\[(\d+):(\d+)\] -A INPUT(.*)$", m.read("rules"), re.M)):
        words = {name: "!" * bool(no) + text
                 for no, name, text in re.findall(r"(! )?-(\w) (\S+)", rule)}
        wanted.append((len(wanted) + 1, words.get("j", ""), protocols[words.get("p")],
                       words.get("i", "*"), words.get("o", "*"),
                       *(words.get(k, "0.0.0.0/0").replace("/32", "") for k in "sd")))
        # The counters run on between the two readers.
        m.equal("counts of " + rule, int(row["No. Packets"]) >= int(packets) and
                int(row["No. Bytes"]) >= int(octets), True)
        comment = re.search('--comment "(.*?)"', rule)
        m.equal("comment of " + rule, not comment or comment.group(1) in row["Filter"], True)
    m.same_table("NETWORK", "iptables INPUT Chain", "Rule Order, Target, Protocol, "
                 "Input Interface, Output Interface, Source, Destination", wanted)
    for chain in ("FORWARD", "OUTPUT"):
        m.equal(chain + " rows", m.rows("NETWORK", "iptables %s Chain" % chain), [])


def check_mounts(m):
    sizes = {name: values for name, *values in m.split("mounts-statfs", "|")}
    wanted = []
    for line in m.read("mounts").splitlines():
        device, where, kind = line.split()[:3]
        where = where.replace("\\040", " ")
        unit, total = int(sizes[where][0]), int(sizes[where][1])
        if kind not in ("tmpfs", "proc", "devpts"):
            wanted.append((where, device, kind, storage_text(total * unit), total * unit))
    table = "Partition Information", "Mounted Filesystems"
    m.same_table(*table, "Mount Point, Device, File System, Capacity, Capacity (bytes)", wanted)
    for row in m.rows(*table):
        total, free, used = (int(row[name + " (bytes)"])
                             for name in ("Capacity", "Free Space", "Used Space"))
        m.equal(row["Mount Point"] + ": free and used", free + used, total)
        unit, _, before = map(int, sizes[row["Mount Point"]])
        # Only the host's file system is used by others meanwhile.
        if row["File System"].startswith("ext"):
            m.equal(row["Mount Point"] + ": free", abs(free - before * unit) < 1 << 20, True)


def check_partitions(m):
    details = {}
    for line in m.read("tune2fs").splitlines():
        name, key, value = (line.split(":", 2) + [""])[:3]
        details.setdefault(name, {})[key] = value.strip()
    wanted = []
    for major, minor, blocks, name in m.split("partitions")[2:]:
        values = details.get(name, {})
        cells = [values.get(key, absent) for key, absent in (
            ("Filesystem features", ""), ("Filesystem state", ""), ("Errors behavior", ""),
            ("Last mount time", ""), ("Mount count", "0"), ("Maximum mount count", "0"),
            ("Block size", "0"), ("Inode size", "0"))]
        wanted.append((name, blocks, major, minor, cells[0][:128], *cells[1:]))
    m.same_table("Partition Information", "Partition Details", "Name, No. Blocks, Major Number, "
                 "Minor Number, Features, State, Error Behaviour, Last Mount Date, Mount Count, "
                 "Maximum Mounts, Block Size, Inode Size", wanted)


def check_memory(m):
    swaps = [int(words[2]) * 1024 for words in m.split("swaps")[1:]]
    total = int(re.search(r"MemTotal: *(\d+)", m.read("meminfo")).group(1)) * 1024
    m.same_table("MEMORY INFORMATION", "Memory Statistics", "Type, Total (bytes)",
                 [("Memory", total), ("Swap", sum(swaps))])


def check_modules(m):
    live = [words for words in m.split("modules") if words[4] == "Live"]
    section = "Device Driver Information"
    m.same_table(section, "Loaded Modules", "Name, Size, Dependant Modules",
                 [(w[0], w[1], "" if w[3] == "-" else w[3]) for w in live])
    wanted = []
    for name, author, kind, text in m.split("modinfo", "|"):
        loaded = any(w[0].startswith(name[:-3]) for w in live)
        wanted.append((name, author, kind, text, "Yes" if loaded else "No"))
    m.same_table(section, "Kernel Modules", "Name, Author, License, Description, Loaded", wanted)
    m.equal("modules of both kinds", {w[4] for w in wanted}, {"Yes", "No"})


def check_boot(m):
    section = "Linux Startup Information"
    m.same_table(section, "Kernel Command Line", "Option, Value",
                 [(w.partition("=")[0], w.partition("=")[2]) for w in m.read("cmdline").split()])
    m.same_table(section, "/boot Contents", "Filename, Permissions, Filesize",
                 [(name, mode.rjust(4, "0"), size) for name, mode, size in m.split("boot", "|")])
    # In the guest's menu the next title or the chain loader ends every entry.
    wanted = []
    for entry in re.split("^title ", m.read("menu"), flags=re.M)[1:]:
        title, *lines = entry.splitlines()
        words = dict(line.split(None, 1) for line in lines)
        kernel, _, options = words.get("kernel", "").partition(" ")
        root = words.get("root") or "noverify " + words["rootnoverify"]
        wanted.append((title, root, kernel, options, words.get("initrd", ""),
                       str("chainloader" in words).lower()))
    m.same_table(section, "GRUB Boot entries", "Boot Entry Title, Root Device, Kernel Image, "
                 "Kernel Options, Initial RAM Disk, Chain Loaded", wanted)


# Reads that end or fail in every run: what is looked for and may be absent, and an end of input.
EXPECTED = (r"\(0\): |/etc/(X11/|modules\.conf|inittab|sysconfig/)\S* \(2\): |"
            r"/var/log/\S+ \(2\): |boot_cmdline: stat \(2\): |/root/\.(i18n|profile) \(2\): ")


def check_debug_log(m):
    log = m.read("../gatherer.log")
    m.equal("log to the end", "Close Gatherer File, run complete, status = success" in log, True)
    for line in log.splitlines():
        failed = re.search(r"\(-?\d+\): [A-Z]|short (read|write)|out of memory|Header Not", line)
        if failed and not re.search(EXPECTED, line):
            m.fault("debug log: %s", line.strip())


def main(machine, folder):
    m = Machine(machine, folder)
    # In the order in which they stand here.
    for name, check in list(globals().items()):
        if name.startswith("check_"):
            faults, compared = len(m.faults), m.compared
            check(m)
            print("  %-14s %4d compared, %d differ" % (
                name[6:], m.compared - compared, len(m.faults) - faults))
    print("  CPU time of the hardware pass: " + m.read("cpu-time").strip())
    for text in m.faults:
        print("FAULT " + text)
    sys.exit(1 if m.faults else 0)


if __name__ == "__main__":
    main(*sys.argv[1:])
