// TextArguments: what is inserted into a text of the catalogue, checked before it is.
//
//   text = TextArguments::end(args) ? nls.get(key, args) : nls.get(key,
//   TextArguments::inert(args));
//
// An argument may itself hold placeholders, and they are substituted as those of the text are:
// intended. Two kinds would take the monitor down, and what a device calls itself can be either: an
// argument that calls, perhaps over another one, for itself is inserted without end, and a last "{"
// that the argument leaves open takes the number, or the end of the text, that happens to follow.
//
// Threads  Any; nothing is kept.
#ifndef MONITOR_TEXTARGUMENTS_H
#define MONITOR_TEXTARGUMENTS_H

#include <string>
#include <vector>

namespace TextArguments {

using List = std::vector<std::string>;

// Whether none of the arguments is of these kinds.
bool end(const List& args);

// The arguments with "_" for every "{", so that nothing is substituted in them.
List inert(List args);

}  // namespace TextArguments

#endif  // MONITOR_TEXTARGUMENTS_H
