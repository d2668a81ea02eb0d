// What the sinks that speak HTTP read from their settings in the same way.
//
// Threads: any. Errors: BadSinkSetting.
#ifndef AGENT_SINKS_SINKHTTP_H
#define AGENT_SINKS_SINKHTTP_H

#include <string>

#include "agent/settings/AgentSettings.h"
#include "agent/sinks/HttpClient.h"

// ca_file, cert_file, key_file and unix_socket; the files must be readable.
HttpClient::Access httpAccess(const SinkSettings& settings);

// `url`, once it is an http or https address, and encrypted where a token goes to another machine.
// `key` names it in messages, which never show it.
std::string httpUrl(const SinkSettings& settings, const std::string& key, const std::string& url);

// Adds "Authorization: Bearer" unless `token` is empty, and marks the token as a secret.
void addToken(const SinkSettings& settings, const std::string& token, HttpClient::Request& request);

bool isHeaderName(const std::string& name);

// The file that the key names, if it is set, can be read.
void checkReadable(const SinkSettings& settings, const std::string& key);

#endif  // AGENT_SINKS_SINKHTTP_H
