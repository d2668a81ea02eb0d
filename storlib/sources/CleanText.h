// cleanText: an identity text of a device (vendor, model, serial, firmware, part number) as the
// rest of the system may use it: trimmed at both ends, all-blank becomes "", and "{", "%" and
// control characters become "_", because such texts are inserted into messages where "{" and "%"
// would call for a substitution.
#ifndef STORLIB_SOURCES_CLEANTEXT_H
#define STORLIB_SOURCES_CLEANTEXT_H

#include <string>

std::string cleanText(const std::string& raw);

#endif  // STORLIB_SOURCES_CLEANTEXT_H
