# Writes the desktop entry that starts EXECUTABLE, from TEMPLATE into OUTPUT.
# Run at install time, when the prefix is known.
#
# The entry's Exec line is read twice: first as a key file's string, then
# split into arguments, so the path is quoted for the second reading and the
# result escaped for the first. Quoting it always keeps a prefix with spaces or
# a shell's characters one argument naming this program.

set(exec "${EXECUTABLE}")
string(REPLACE "\\" "\\\\" exec "${exec}")
string(REPLACE "\"" "\\\"" exec "${exec}")
string(REPLACE "`" "\\`" exec "${exec}")
string(REPLACE "$" "\\$" exec "${exec}")
# A lone % would start a field code such as the %u that carries the link.
string(REPLACE "%" "%%" exec "${exec}")
set(exec "\"${exec}\"")

string(REPLACE "\\" "\\\\" exec "${exec}")
string(REPLACE "\n" "\\n" exec "${exec}")
string(REPLACE "\t" "\\t" exec "${exec}")
string(REPLACE "\r" "\\r" exec "${exec}")

set(ZOR_DESKTOP_EXEC "${exec}")
configure_file("${TEMPLATE}" "${OUTPUT}" @ONLY)
