"""Which cells of the report's SMBIOS tables say the same as which fields of dmidecode's listing.

TABLES maps a structure type to its table and, where that has one row a structure, to the field (or
the function of all fields) behind each cell; else to the function that makes the rows. Cells are
compared as `plain` leaves them: without case and punctuation.
"""
import re


def plain(text):
    return re.sub(r"[^a-z0-9]", "", (text or "").lower())


def text(name):
    return lambda f: "" if f[name] == "Not Specified" else f[name]


def without_b(name):
    """128 MB as 128 M."""
    return lambda f: f[name].split(" (")[0].replace("MB", "M").replace("kB", "K")


def first_number(name):
    return lambda f: (re.match(r"\d+", f[name]) or ["0"])[0]


def handle(name):
    return lambda f: "FFFEh" if f[name] == "Not Provided" else f[name][2:] + "h"


def hexadecimal(name):
    return lambda f: "%02Xh" % int(f[name]) if f[name].isdigit() else f[name]


def kilobytes(name):
    return lambda f: "%08Xh" % (int(f[name], 16) >> 10)


def thousandths(name):
    """0.500 V as 500 mV; other units stay."""
    def value(f):
        number, unit = f[name].split(None, 1) if " " in f[name] else (f[name], "")
        return "%d m%s" % (round(float(number) * 1000), unit) if unit in ("V", "A") else f[name]
    return value


def joined(pattern, *names):
    return lambda f: pattern % tuple(f[name] for name in names)


def stored_uuid(uuid):
    """The first three groups stand in memory with their low byte first."""
    words = uuid.split("-")
    return "".join(bytes.fromhex(w)[::-1].hex() for w in words[:3]) + "".join(words[3:])


def numbered(word):
    return lambda f: [{"Text": value} for name, value in f.items()
                      if re.fullmatch(word + r" \d+", name)]


def languages(f):
    words = {"en": "English, United States", "fr": "French, France"}
    names = f["Installable Languages"].split(", ")[1:]
    return [{"Status": "Installable Language %d" % n, "Language": words[name[:2]]}
            for n, name in enumerate(names, 1)]


def group_items(f):
    return [{"Group Name": f["Name"], "Item Handle": h + "h"}
            for h in re.findall(r"0x(\w{4})", f["Items"])]


def next_power_on(number):
    # The BCD bytes are printed as plain numbers.
    return lambda f: str(int(re.findall(r"\d+", f["Next Scheduled Power-on"])[number], 16))


PROBE = {
    "Description": "Description", "Locn & Status": joined("%s, %s", "Location", "Status"),
    "Max Value": thousandths("Maximum Value"), "Min Value": thousandths("Minimum Value"),
    "Resolution": "Resolution", "Tolerance": thousandths("Tolerance"), "Accuracy": "Accuracy",
    "OEM Data": handle("OEM-specific Information"),
}

TABLES = {
    0: ("BIOS Information", {
        "Vendor": "Vendor", "Version": "Version", "Start Addr": lambda f: f["Address"][2:6] + "h",
        "Release Date": "Release Date", "ROM Size": without_b("ROM Size")}),
    1: ("System Information", {
        "Manufacturer": "Manufacturer", "Product Name": "Product Name", "Version": "Version",
        "Serial Number": "Serial Number", "UUID": lambda f: stored_uuid(f["UUID"]),
        "Wake-up Type": "Wake-up Type"}),
    2: ("Baseboard Information", {
        "Manufacturer": "Manufacturer", "Product": "Product Name", "Version": "Version",
        "Serial Number": "Serial Number"}),
    3: ("System Enclosure Information", {
        "Manufacturer": "Manufacturer", "Type": "Type", "Version": "Version",
        "Serial Number": "Serial Number", "Asset Tag Number": "Asset Tag",
        "Bootup State": "Boot-up State"}),
    4: ("Processor Information", {
        "Socket": "Socket Designation", "Manufacturer": "Manufacturer",
        "Processor ID": lambda f: "".join(reversed(f["ID"].split())), "Version": "Version",
        "Current Speed": first_number("Current Speed"),
        "Status": lambda f: f["Status"].replace("Populated,", "CPU"),
        "Serial Number": "Serial Number", "Part Number": "Part Number"}),
    5: ("Memory Controller Information", {
        "Err Detect Method": "Error Detecting Method",
        "Err Correct Capability": "Error Correcting Capabilities",
        "Supported Interleave": "Supported Interleave", "Current Interleave": "Current Interleave",
        "Max Module Sz": without_b("Maximum Memory Module Size"), "Supp Speeds": "Supported Speeds",
        "Supported Types": "Supported Memory Types",
        "Voltage": lambda f: f["Memory Module Voltage"].replace(".0", ""),
        "Num slots": first_number("Associated Memory Slots")}),
    6: ("Memory Module Information", {
        "Socket": "Socket Designation",
        "Bank Connections": lambda f: re.sub(r"(\d+)", r"RAS \1", f["Bank Connections"]),
        "Speed": first_number("Current Speed"), "Type": "Type",
        "Installed Size": without_b("Installed Size"), "Enabled Size": without_b("Enabled Size"),
        "Errs UnCor": lambda f: f["Error Status"].replace("OK", "No")}),
    7: ("Cache Information", {
        "Socket": "Socket Designation", "Lvl": lambda f: "L" + f["Configuration"][-1],
        "Status": lambda f: f["Configuration"].split(",")[0], "Type": "Operational Mode",
        "Size": without_b("Installed Size"), "SRAM Type": "Installed SRAM Type",
        "ECC Type": "Error Correction Type", "System Cache": "System Type",
        "Associativity": "Associativity"}),
    8: ("Port Connector Information", {
        "Port Type": "Port Type", "Internal Designator": "Internal Reference Designator",
        "Internal Connector Type": "Internal Connector Type",
        "External Designator": "External Reference Designator",
        "External Connector Type": "External Connector Type"}),
    9: ("Adapter Slot Information", {
        "Socket Designation": "Designation", "Type": lambda f: f["Type"].split(None, 1)[1],
        "Bus Width": lambda f: f["Type"].split()[0], "In Use": "Current Usage",
        "Length": lambda f: re.sub("(Short|Long)", r"\1 Length", f["Length"]),
        "Characteristics": lambda f: re.sub(
            r"(\S+) V is provided", r"Provides \1 Volts",
            f["Characteristics"].replace("PME signal is supported", "PME# Signal"))}),
    10: ("On-board Device Information", {
        "Device Type": "Type", "Status": "Status", "Description": "Description"}),
    11: ("OEM Strings", numbered("String")),
    12: ("System Configuration Options", numbered("Option")),
    13: ("BIOS Language Information", languages),
    14: ("Group Associations", group_items),
    16: ("Physical Memory Array Information", {
        "Handle": "Handle", "Location": "Location", "Error Correction": "Error Correction Type",
        "Max Capacity": without_b("Maximum Capacity"),
        "Error Handle": handle("Error Information Handle")}),
    17: ("Memory Device Information", {
        "Handle": "Handle", "Dev Locator": "Locator", "Bank Locator": "Bank Locator",
        "Width Tot/Data": joined("%s/%s", "Total Width", "Data Width"),
        "Form Factor": "Form Factor", "Type": "Type", "Detail": "Type Detail",
        "Array Handle": handle("Array Handle"),
        "Err Handle": handle("Error Information Handle")}),
    18: ("Memory Error Information", {
        "Handle": "Handle", "Err Type": "Type", "Granularity": "Granularity",
        "Operation": "Operation", "Vend Syndrome": handle("Vendor Syndrome"),
        "Array Addr": handle("Memory Array Address"), "Device Addr": handle("Device Address"),
        "Resolution": handle("Resolution")}),
    19: ("Memory Array Mapped Address Information", {
        "Handle": "Handle", "Start Addr": kilobytes("Starting Address"),
        "End Addr": kilobytes("Ending Address"), "Array Handle": handle("Physical Array Handle"),
        "Partition Width": hexadecimal("Partition Width")}),
    20: ("Memory Device Mapped Address Information", {
        "Start Addr": kilobytes("Starting Address"), "End Addr": kilobytes("Ending Address"),
        "Device Handle": handle("Physical Device Handle"),
        "Array Mapped Addr Handle": handle("Memory Array Mapped Address Handle"),
        "Partit Row Posn": hexadecimal("Partition Row Position"),
        "I/Leave Position": hexadecimal("Interleave Position"),
        "I/Leave Data Depth": hexadecimal("Interleaved Data Depth")}),
    21: ("Built-In Pointing Device Information", {
        "Type": "Type", "Interface": "Interface"}),
    22: ("Portable Battery Information", {
        "Location": "Location", "Mfg Date": "Manufacture Date", "Serial Number": "Serial Number",
        "Dev Name": "Name", "Ver Number": "SBDS Version", "Chemistry": "Chemistry",
        "OEM Data": handle("OEM-specific Information")}),
    23: ("System Reset Information", {"Capabilities": joined(
        "%s, Boot Option: %s, Boot Option on Limit: %s, Watchdog Timer", "Status", "Boot Option",
        "Boot Option On Limit")}),
    24: ("Hardware Security Information", {
        "Power-on Password Status": "Power-On Password Status",
        "Keyboard Password Status": "Keyboard Password Status",
        "Administrator Password Status": "Administrator Password Status",
        "Front Panel Reset Status": "Front Panel Reset Status"}),
    25: ("Next Scheduled Power On Information", {
        "Month": next_power_on(0), "Day": next_power_on(1), "Hour": next_power_on(2),
        "Minute": next_power_on(3), "Second": next_power_on(4)}),
    26: ("Voltage Probes", PROBE),
    27: ("Cooling Devices", {
        "Temp Probe Handle": handle("Temperature Probe Handle"),
        "Device Type & Status": joined("%s, %s", "Type", "Status"),
        "Cooling Unit Group": "Cooling Unit Group",
        "OEM Data": handle("OEM-specific Information")}),
    28: ("Temperature Probes", PROBE),
    29: ("Electrical Current Probes", PROBE),
    30: ("Out-of-Band Remote Access", {"Manufacturer Name": "Manufacturer Name"}),
    32: ("Boot Status", {"Boot Status": "Status"}),
}


def rows(kind, fields):
    """The rows that the structure's table holds for it."""
    cells = TABLES[kind][1]
    if callable(cells):
        return cells(fields)
    return [{name: text(how)(fields) if isinstance(how, str) else how(fields)
             for name, how in cells.items()}]
