// SecretFile: a password or token in a file of its own: one line, a plain file that nobody but its
// owner can read.
//
//   const std::string wrong = readSecretFile("/etc/raidwatch/mail.password", text);
//
// Any thread.
#ifndef AGENT_SETTINGS_SECRETFILE_H
#define AGENT_SETTINGS_SECRETFILE_H

#include <string>

// "" with the secret in `text`, or what is wrong with the file and what to do.
std::string readSecretFile(const std::string& file, std::string& text);

#endif  // AGENT_SETTINGS_SECRETFILE_H
