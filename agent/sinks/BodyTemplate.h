// BodyTemplate: a text with {{...}} where something of a record goes. Whatever a device calls
// itself, what is put in is escaped for the kind of text around it.
//
//   const BodyTemplate form("{\"text\": \"{{subject}}\"}", BodyTemplate::Escape::kJson);
//   request.body = form.fill(record, id);
//
// Threads: any, once constructed. Errors: std::invalid_argument with cause and cure for a field
// that does not exist or braces that do not close.
#ifndef AGENT_SINKS_BODYTEMPLATE_H
#define AGENT_SINKS_BODYTEMPLATE_H

#include <string>
#include <vector>

#include "agent/spool/Record.h"

class BodyTemplate {
public:
    enum class Escape {
        kJson,    // inside a JSON string: the quotes are the template's
        kForm,    // percent-encoded, for application/x-www-form-urlencoded
        kHeader,  // one line: what would end it becomes a blank
        kNone,
    };

    BodyTemplate(const std::string& text, Escape escapeIN);

    std::string fill(const Record& record, const std::string& id) const;

    static std::vector<std::string> fields();  // that may stand between the braces, sorted

private:
    struct Piece {
        std::string text;  // as it is, or the name of a field
        int field = -1;    // row of the table of fields; -1: plain text
    };

    Escape escape;
    std::vector<Piece> pieces;
};

#endif  // AGENT_SINKS_BODYTEMPLATE_H
