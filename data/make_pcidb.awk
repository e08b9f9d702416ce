# Makes pcidb.txt from the public list of PCI ids: a V record a vendor, a D record a device and an X
# record a subsystem, in the order of the list. Run it with LC_ALL=C, so that lengths are bytes.

BEGIN { limit = 254 }  # Bytes that the program's line buffer holds beside the newline.

# Cuts a line that is too long, never inside a UTF-8 character.
function fitting(line) {
  if (length(line) <= limit) return line
  line = substr(line, 1, limit + 1)
  while (line ~ /[\200-\277]$/) line = substr(line, 1, length(line) - 1)
  return substr(line, 1, length(line) - 1)
}

function put(kind, id, name) {
  print fitting(kind " " id " " name)
}

/^C /                                   { exit }  # Names of classes follow.
/^[0-9a-fA-F]+ /                        { put("V", $1, substr($0, 7)) }
/^\t[0-9a-fA-F]+ /                      { put("D", $1, substr($0, 8)) }
/^\t\t[0-9a-fA-F]+ [0-9a-fA-F]+ /       { put("X", $1 $2, substr($0, 14)) }
