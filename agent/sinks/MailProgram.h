// MailProgram: hands one mail to a program such as sendmail, which takes it on its input and finds
// the recipients in its headers. No shell is involved.
//
//   const MailProgram program({"/usr/sbin/sendmail", "-t", "-i"}, std::chrono::seconds(30));
//   const Answer answer = program.send(text);
//
// Exit code 0 is delivered; those of sysexits.h that speak of the mail (65, 67, 68) refuse it; any
// other is tried again. What takes too long is ended with all that it started. A program that
// somebody else could have changed is not run, see HookCheck.
//
// Threads  Any number at once. Errors: an Answer; nothing is thrown.
#ifndef AGENT_SINKS_MAILPROGRAM_H
#define AGENT_SINKS_MAILPROGRAM_H

#include <chrono>
#include <string>
#include <vector>

#include "agent/sinks/Sink.h"

class MailProgram {
public:
    MailProgram(std::vector<std::string> argumentsIN, std::chrono::milliseconds timeoutIN);
    ~MailProgram();
    MailProgram(const MailProgram&) = delete;
    MailProgram& operator=(const MailProgram&) = delete;

    // `text` has CRLF line ends; the program gets LF, which it expects from a local writer.
    Answer send(const std::string& text) const;
    void cancel();  // from any thread: ends the program under way, and every later one at once
    // "" or why it cannot be run.
    std::string problem() const;

private:
    std::string whoElse() const;  // "" or why it is not ours alone

    std::vector<std::string> arguments;  // the first is the program, by its full path
    std::chrono::milliseconds timeout;
    int stopFd;  // readable once cancel() was called; -1 when there is no such thing
};

#endif  // AGENT_SINKS_MAILPROGRAM_H
