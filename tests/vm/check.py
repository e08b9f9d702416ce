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
import sys

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
        self.options = [line.split(None, 1) for line in open(machine) if line.startswith("-")]
        self.disks = dict(line.split()[1:] for line in open(machine) if line.startswith("disk "))
        self.structures = list(smbios.structures(machine.replace(".machine", ".smbios")))
        files = glob.glob(os.path.join(folder, "*.KS2"))
        if len(files) != 1:
            sys.exit("%s holds %d gather files" % (folder, len(files)))
        self.gather_file = files[0]
        self.report = gather.Report(gather.report_of(files[0]))

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
        return open(os.path.join(self.folder, "readers", name), errors="replace").read()

    def split(self, name, separator=None):
        return [line.split(separator) for line in self.read(name).splitlines()]

    def rows(self, section, table):
        """The table's rows as dictionaries, values trimmed."""
        for title, tables in self.report.sections:
            for name, rows in tables:
                if title == section and name == table:
                    return [{n: v.strip() for n, v in row} for row in rows]
        self.fault("there is no table %s / %s", section, table)
        return []

    def cells(self, section, table, *names):
        return [tuple(row.get(name) for name in names) for row in self.rows(section, table)]

    def fault(self, text, *values):
        self.faults.append(text % values)

    def equal(self, what, found, wanted):
        self.compared += 1
        if found != wanted:
            self.fault("%s: %r, should be %r", what, found, wanted)

    def same_rows(self, what, found, wanted):
        """Rows in any order."""
        found, wanted = [tuple(map(str, r)) for r in found], [tuple(map(str, r)) for r in wanted]
        self.compared += len(wanted)
        if not wanted:
            self.fault("%s: the other reader saw nothing", what)
        for row in wanted:
            if row not in found:
                self.fault("%s: no row %r", what, row)
        for row in found:
            if row not in wanted:
                self.fault("%s: unexpected row %r", what, row)
        self.equal(what + ": rows", len(found), len(wanted))


def check_run(m):
    m.equal("exit status", m.read("../status").strip(), "0")
    m.equal("standard output", m.read("../stdout"), "")
    for name, status in re.findall(r"^(\S.*?) \.+ (.*)$", m.read("../console"), re.M):
        if "fail" in status.lower():
            m.fault("task %s: %s", name, status)


def check_identity(m):
    given = m.given("-smbios", kind="type=1")[0]
    bracket = re.search(r"-\[([^\]-]*)[^\]]*\]-", given["product"])
    model = bracket.group(1) if bracket else given["product"]
    uuid = smbios_tables.stored_uuid(m.given("-uuid")[0]["kind"])
    [row] = m.rows("SYSTEM SUMMARY", "System Summary")
    for name, value in (("System Vendor", given["manufacturer"]), ("System Model", model),
                        ("System Serial Number", given["serial"]), ("UUID", uuid)):
        m.equal(name, row[name], value)
    m.equal("name of the gather file", os.path.basename(m.gather_file),
            "%s-%s-%s.KS2" % (given["manufacturer"], model, given["serial"]))


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
    offered = {}
    for kind, fields in dmi_structures(m.read("dmidecode")):
        offered.setdefault(kind, []).append(fields)
    titles = [t for s, tables in m.report.sections if s == "SMBIOS INFORMATION" for t, _ in tables]
    known = smbios_tables.TABLES
    wanted = {known[kind].title for kind in offered if kind in known}
    m.equal("tables of structures", set(titles) - {"Supported Features"}, wanted)
    for kind, structures in sorted(offered.items()):
        if kind not in known:
            continue
        rows = m.rows("SMBIOS INFORMATION", known[kind].title)
        wanted = [row for fields in structures for row in known[kind].rows(fields)]
        m.equal("type %d: rows" % kind, len(rows), len(wanted))
        for row, fields in zip(rows, wanted):
            for name, value in fields.items():
                m.equal("type %d, %s" % (kind, name), smbios_tables.plain(row.get(name)),
                        smbios_tables.plain(value))


def check_given_strings(m):
    given = [(kind, string) for kind, _, strings in m.structures for string in strings]
    for values in m.given("-smbios"):
        kind = int(values["kind"][5:])
        given += [(kind, values[k]) for k in values if k in (
            "vendor", "version", "date", "manufacturer", "product", "serial", "value", "bank")]
    for kind, string in given:
        # Languages are printed in words of the program, and makers' own structures not at all.
        if kind in smbios_tables.TABLES and kind != 13:
            table = m.rows("SMBIOS INFORMATION", smbios_tables.TABLES[kind].title)
            cells = [cell for row in table for cell in row.values()]
            m.equal("type %d prints %r" % (kind, string), string in cells, True)


def pci_ids():
    vendors, devices, vendor = {}, {}, None
    for line in open("/usr/share/misc/pci.ids", errors="replace"):
        if line.startswith("C "):
            break
        match = re.match(r"(\t?)([0-9a-f]{4})  (.*)", line)
        if match and not match.group(1):
            vendor = match.group(2)
            vendors[vendor] = match.group(3)
        elif match:
            devices[vendor, match.group(2)] = match.group(3)
    return vendors, devices


CLASSES = {0x01: "Storage", 0x02: "Network", 0x03: "Display", 0x06: "Bridge", 0x0C: "Serial"}


def check_pci(m):
    vendors, devices = pci_ids()
    seen = {}
    for bus, device, function, kind, vendor, ident, header in re.findall(
            r"^(\w\w):(\w\w)\.(\d) (\w{4}): (\w{4}):(\w{4}).*\n00:(.*)", m.read("lspci"), re.M):
        multi = int(header.split()[14], 16) & 0x80
        seen[int(bus, 16), int(device, 16), int(function)] = (vendor, ident, int(kind, 16), multi)
    wanted = []
    for (bus, device, function), (vendor, ident, kind, _) in sorted(seen.items()):
        # Functions behind a gap are not looked for.
        if function and not seen[bus, device, 0][3]:
            continue
        if any((bus, device, lower) not in seen for lower in range(function)):
            continue
        wanted.append((bus, device, function, "Unknown", "0x%X" % int(vendor, 16), vendors[vendor],
                       "0x%X" % int(ident, 16), devices.get((vendor, ident), "Unknown"),
                       CLASSES.get(kind >> 8, "Unknown"), "", ""))
    m.same_rows("PCI functions", m.cells(
        "PCI DEVICES", "PCI Device Summary", "Bus", "Device", "Function", "Slot", "Vendor ID",
        "Vendor Name", "Device ID", "Device Name", "Class", "Product Name", "Serial Number"),
                wanted)


def check_adapters(m):
    section = "PCI ADAPTER INFORMATION"
    # On some makers' machines the adapter list must not run.
    if m.given("-smbios", kind="type=1")[0]["manufacturer"].lower().startswith("toshiba"):
        m.equal("adapters listed", section in [title for title, _ in m.report.sections], False)
        return
    slots = [fields for kind, fields in dmi_structures(m.read("dmidecode"))
             if kind == 9 and "PCI" in fields["Type"] and fields["ID"] != "0"]
    m.same_rows("adapters", m.cells(section, "PCI Adapters", "Slot ID", "Slot Name", "In Use"), [
        (f["ID"], f["Designation"], "Yes" if f["Current Usage"] == "In Use" else "No")
        for f in slots])


def storage_text(count, unit, kilo):
    """A size as the report writes it: one decimal, cut."""
    size = count * unit
    for power, name in ((4, "TB"), (3, "GB"), (2, "MB"), (1, "KB")):
        if size >= kilo ** power:
            tenths = size // (kilo ** power // 10)
            return "%d.%d %s" % (tenths // 10, tenths % 10, name)
    return "%d bytes" % size


def check_scsi(m):
    types = {"0": "Disk", "5": "CD-ROM"}
    wanted = []
    for node, block, address, kind, vendor, model, revision, sectors in m.split("scsi", "|"):
        host, channel, target, lun = address.split(":")
        unit = 2048 if kind == "5" else 512
        # The last block address counts for the number of blocks, and 1000 for a kilobyte.
        size = storage_text(int(sectors) * 512 // unit - 1, unit, 1000)
        wanted.append((block or node, vendor.strip(), model.strip(), revision.strip(), types[kind],
                       host, channel, target, lun, size))
    m.same_rows("SCSI devices", m.cells(
        "SCSI Devices", "SCSI Devices", "Device", "Vendor", "Model", "Revision", "Type", "Host",
        "Channel", "Target", "LUN", "Capacity"), wanted)


def check_given_disks(m):
    rows = m.rows("SCSI Devices", "SCSI Devices")
    for given in m.given("-device"):
        if given["kind"] not in ("scsi-hd", "scsi-cd", "ide-hd"):
            continue
        # libata names itself as the vendor of what it drives.
        [row] = [r for r in rows if r["Serial Number"] == given["serial"]] or [{}]
        m.equal("vendor of " + given["serial"], row.get("Vendor"), given.get("vendor", "ATA"))
        name = given.get("product", given.get("model", ""))
        m.equal("model of " + given["serial"], row.get("Model"), name[:16].strip())
        [drive] = m.given("-drive", id=given["drive"])
        megabytes = int(m.disks[os.path.basename(drive["file"])].rstrip("M"))
        unit = 2048 if given["kind"] == "scsi-cd" else 512
        blocks = (megabytes << 20) // unit
        m.equal("capacity of " + given["serial"], row.get("Capacity"),
                storage_text(blocks - 1, unit, 1000))


def check_cpu(m):
    info = dict(re.findall(r"^(.*?)\s*: (.*)$", m.read("cpuinfo"), re.M))
    [row] = m.rows("CPU Information", "CPU Family Information")
    m.equal("CPU vendor", row["Vendor"], {"GenuineIntel": "Intel"}[info["vendor_id"]])
    m.equal("CPU family", row["Family ID"], info["cpu family"])
    m.equal("CPU model", row["Model ID"], str(int(info["model"]) & 15))
    m.equal("CPU stepping", row["Stepping"], info["stepping"])
    flags = info["flags"].split()
    m.same_rows("CPU flags", m.cells("CPU Information", "CPU Flags", "Flag Name", "Enabled"),
                [(name, str(word in flags).lower()) for name, word in (
                    ("MMX", "mmx"), ("SSE", "sse"), ("SSE2", "sse2"), ("Hyper-Threading", "ht"))])


def netmask(length):
    return str(ipaddress.ip_network("0.0.0.0/%s" % length).netmask)


def check_links(m):
    links = json.loads(m.read("links"))
    words = ["UP", "LOOPBACK", "BROADCAST", "POINTOPOINT", "MULTICAST", "NOARP"]
    wanted = [(link["ifname"], link.get("address", ""), link["mtu"],
               " ".join(w for w in words if w in link["flags"])) for link in links]
    found = [(name, address, mtu, " ".join(w for w in words if w in flags.split()))
             for name, address, mtu, flags in m.cells(
                 "NETWORK", "Network Interfaces", "Interface", "Address", "MTU", "Flags")]
    m.same_rows("interfaces", found, wanted)
    for row in m.rows("NETWORK", "Network Interface Statistics"):
        [link] = [k for k in links if k["ifname"] == row["Name"]]
        for way in ("rx", "tx"):
            for kind in ("packets", "bytes"):
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
    m.same_rows("addresses", m.cells("NETWORK", "Network Addresses", "Name", "Family",
                                     "Address", "Netmask", "Broadcast", "Interface"), wanted)


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
    m.same_rows("routes", m.cells("NETWORK", "Network Routing Table", "Destination", "Gateway",
                                  "Netmask", "Scope", "Type", "Interface"), wanted)


def check_rules(m):
    protocols = {None: ("0", "all"), "tcp": ("6", "tcp"), "udp": ("17", "udp"),
                 "icmp": ("1", "icmp")}
    rules = re.findall(r"^\[(\d+):(\d+)\] -A INPUT(.*)$", m.read("rules"), re.M)
    rows = m.rows("NETWORK", "iptables INPUT Chain")
    m.equal("rules", len(rows), len(rules))

    def word(option, text, other=None):
        match = re.search(r"(! )?-%s (\S+)" % option, text)
        return (("!" if match.group(1) else "") + match.group(2)) if match else other

    for number, (row, (packets, _, text)) in enumerate(zip(rows, rules), 1):
        what = "rule %d: " % number
        m.equal(what + "order", row["Rule Order"], str(number))
        m.equal(what + "packets", int(row["No. Packets"]) >= int(packets), True)
        m.equal(what + "target", row["Target"], word("j", text, ""))
        m.equal(what + "protocol", row["Protocol"] in protocols[word("p", text)], True)
        m.equal(what + "input", row["Input Interface"], word("i", text, "*"))
        for option, name in (("s", "Source"), ("d", "Destination")):
            address = word(option, text, "0.0.0.0/0").replace("/32", "")
            m.equal(what + name, row[name], address)
    for chain in ("FORWARD", "OUTPUT"):
        m.equal(chain + " rows", m.rows("NETWORK", "iptables %s Chain" % chain), [])


def check_mounts(m):
    unlisted = ("tmpfs", "proc", "devpts")
    sizes = {name: values for name, *values in m.split("mounts-statfs", "|")}
    wanted = []
    for line in m.read("mounts").splitlines():
        device, where, kind = line.split()[:3]
        where = where.replace("\\040", " ")
        unit, total = int(sizes[where][0]), int(sizes[where][1])
        if kind not in unlisted:
            # The SCSI probe runs first, and the first to print a size fixes what a kilobyte is.
            wanted.append((where, device, kind, storage_text(total, unit, 1000), total * unit))
    table = "Partition Information", "Mounted Filesystems"
    m.same_rows("mounts", m.cells(*table, "Mount Point", "Device", "File System", "Capacity",
                                  "Capacity (bytes)"), wanted)
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
        texts = [values.get("Filesystem " + k, "") for k in ("features", "state")]
        texts.append(values.get("Errors behavior", ""))
        numbers = [values.get(k, "0") for k in ("Mount count", "Maximum mount count", "Block size",
                                                "Inode size")]
        wanted.append([name, blocks, major, minor, texts[0][:127], *texts[1:], *numbers])
    rows = m.cells("Partition Information", "Partition Details", "Name", "No. Blocks",
                   "Major Number", "Minor Number", "Features", "State", "Error Behaviour",
                   "Mount Count", "Maximum Mounts", "Block Size", "Inode Size")
    m.same_rows("partitions", [(*r[:4], r[4][:127], *r[5:]) for r in rows], wanted)


def check_memory(m):
    swaps = [int(words[2]) * 1024 for words in m.split("swaps")[1:]]
    rows = {row["Type"]: row for row in m.rows("MEMORY INFORMATION", "Memory Statistics")}
    m.equal("swap", rows["Swap"]["Total (bytes)"], str(sum(swaps)))
    total = int(re.search(r"MemTotal: *(\d+)", m.read("meminfo")).group(1)) * 1024
    m.equal("memory", rows["Memory"]["Total (bytes)"], str(total))


def check_modules(m):
    live = [words for words in m.split("modules") if words[4] == "Live"]
    section = "Device Driver Information"
    m.same_rows("loaded modules", m.cells(section, "Loaded Modules", "Name", "Size",
                                          "Dependant Modules"),
                [(w[0], w[1], "" if w[3] == "-" else w[3]) for w in live])
    wanted = []
    for name, author, kind, text in m.split("modinfo", "|"):
        loaded = any(w[0].startswith(name[:-3]) for w in live)
        wanted.append((name, author, kind, text, "Yes" if loaded else "No"))
    m.same_rows("modules", m.cells(section, "Kernel Modules", "Name", "Author", "License",
                                   "Description", "Loaded"), wanted)
    m.equal("one module is not loaded", "No" in [w[4] for w in wanted], True)


def check_boot(m):
    section = "Linux Startup Information"
    m.same_rows("kernel command line", m.cells(section, "Kernel Command Line", "Option", "Value"),
                [(w.partition("=")[0], w.partition("=")[2]) for w in m.read("cmdline").split()])
    files = m.split("boot", "|")
    if not files:
        m.equal("/boot", m.rows(section, "/boot Contents"), [])
        return
    m.same_rows("/boot", m.cells(section, "/boot Contents", "Filename", "Permissions", "Filesize"),
                [(name, mode.rjust(4, "0"), size) for name, mode, size in files])
    # In the guest's menu the next title or the chain loader ends every entry.
    menu = m.read("menu")
    entries = m.cells(section, "GRUB Boot entries", "Boot Entry Title", "Chain Loaded")
    m.equal("menu entries", [title for title, _ in entries],
            re.findall(r"^title (.*)$", menu, re.M))
    m.equal("chain loaded entries", [chained for _, chained in entries].count("true"),
            len(re.findall(r"^\s*chainloader", menu, re.M)))


# Reads that end or fail in every run: what is looked for and may be absent, and an end of input.
EXPECTED = (
    r"\(0\): ",
    r"\tfailed \(2\): ",
    r"/etc/(X11/|modules\.conf|inittab|crontab|sysconfig/)\S* \(2\): ",
    r"/var/log/\S+ \(2\): ",
    r"boot_cmdline: stat \(2\): ",
    r"/root/\.(i18n|profile) \(2\): ",
)


def check_debug_log(m):
    for line in open(os.path.join(m.folder, "gatherer.log"), errors="replace"):
        failed = re.search(r"\(-?\d+\): [A-Z]|short (read|write)|out of memory|Header Not", line)
        if failed and not any(re.search(pattern, line) for pattern in EXPECTED):
            m.fault("debug log: %s", line.strip())


CHECKS = (check_run, check_identity, check_smbios, check_given_strings, check_pci, check_adapters,
          check_scsi, check_given_disks, check_cpu, check_links, check_addresses, check_routes,
          check_rules, check_mounts, check_partitions, check_memory, check_modules, check_boot,
          check_debug_log)


def main(machine, folder):
    m = Machine(machine, folder)
    for check in CHECKS:
        faults, compared = len(m.faults), m.compared
        check(m)
        print("  %-14s %4d compared, %d differ" % (
            check.__name__[6:], m.compared - compared, len(m.faults) - faults))
    for text in m.faults:
        print("FAULT " + text)
    sys.exit(1 if m.faults else 0)


if __name__ == "__main__":
    main(*sys.argv[1:])
