// StoredJson: JSON as the spool keeps it. Texts from hardware may hold bytes that are no UTF-8 and
// therefore no JSON; they are kept as {"bytes":"<hex>"} and come back byte for byte.
//
//   const std::string text = storedJson({{"serial", "S7\xff"}});   // {"serial":{"bytes":"5337ff"}}
//   const nlohmann::ordered_json json = fromStoredJson(text);      // "S7\xff" again
//
// Pure functions; any thread. Errors: fromStoredJson gives null for what is no JSON.
#ifndef AGENT_SPOOL_STOREDJSON_H
#define AGENT_SPOOL_STOREDJSON_H

#include <string>

#include <nlohmann/json_fwd.hpp>

std::string storedJson(const nlohmann::ordered_json& json);
nlohmann::ordered_json fromStoredJson(const std::string& text);

#endif  // AGENT_SPOOL_STOREDJSON_H
