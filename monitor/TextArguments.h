// TextArguments: what is inserted into a text of the catalogue, checked before it is.
//
//   NLSParser::parse(text, TextArguments::canFill(text, args) ? args : TextArguments::inert(args));
//
// An argument may itself hold placeholders, and they are substituted as those of the text are:
// intended. Two kinds would take the monitor down, and what a device calls itself can be either: an
// argument that calls, perhaps over another one, for itself is inserted without end, and a "{" that
// comes to stand at the end of the text has no number behind it. Which argument does that depends
// on the text around it, so it is tried.
//
// Threads  Any; nothing is kept.
#ifndef MONITOR_TEXTARGUMENTS_H
#define MONITOR_TEXTARGUMENTS_H

#include <string>
#include <vector>

namespace TextArguments {

using List = std::vector<std::string>;

// Whether NLSParser::parse() comes to an end over `text` with these arguments, and without an
// exception. More than a thousand substitutions, or a text that grows beyond 1 MiB, count as
// without end. Always true without a "{" in the arguments: the text is its author's.
bool canFill(const std::string& text, const List& args);

// The arguments with "_" for every "{", so that nothing is substituted in them.
List inert(List args);

}  // namespace TextArguments

#endif  // MONITOR_TEXTARGUMENTS_H
