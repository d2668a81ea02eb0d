// SecretFile: a password or token in a file of its own: one line, a plain file of root or of us
// that nobody else can read. And files of other forms that hold a secret, or that are trusted:
// whoever opens those only wants to know what is wrong with them.
//
//   const std::string wrong = readSecretFile("/etc/raidwatch/mail.password", text);
//   const std::string wrong = wrongSecretFile("/etc/raidwatch/client.key");
//
// Any thread.
#ifndef AGENT_SETTINGS_SECRETFILE_H
#define AGENT_SETTINGS_SECRETFILE_H

#include <string>

// "" with the secret in `text`, or what is wrong with the file and what to do.
std::string readSecretFile(const std::string& file, std::string& text);

// "" or what is wrong with a file that holds a secret, as a key, and with one that nobody else may
// change, as a certificate to trust.
std::string wrongSecretFile(const std::string& file);
std::string wrongTrustedFile(const std::string& file);

#endif  // AGENT_SETTINGS_SECRETFILE_H
