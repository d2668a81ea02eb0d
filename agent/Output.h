// Output: the text that a command was asked for, on a file descriptor.
//
//   Output out(STDOUT_FILENO);
//   out.line("one line");
//
// Each call hands its text to the kernel at once, so that a reader at the other end of a pipe sees
// an event when it happens.
//
// Errors   OutputClosed when the reader has gone, which ends a program quietly; Failure for any
//          other error. Ownership: the descriptor is borrowed. Threads: one at a time.
//          The process ignores SIGPIPE.
#ifndef AGENT_OUTPUT_H
#define AGENT_OUTPUT_H

#include <cstddef>
#include <exception>
#include <string>

// The reader of our output has gone; there is nobody left to tell.
class OutputClosed : public std::exception {
public:
    const char* what() const noexcept override { return "the reader of the output has gone"; }
};

class Output {
public:
    explicit Output(int descriptor) : fd(descriptor) {}
    virtual ~Output() = default;
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    virtual void write(const std::string& text);
    void line(const std::string& text) { write(text + "\n"); }

    // Throws OutputClosed when the reader has gone, without writing anything.
    virtual void check() const;

    bool isTerminal() const;
    // Columns of the terminal; 0, for no limit, when it is none.
    std::size_t columns() const;

private:
    int fd;
};

#endif  // AGENT_OUTPUT_H
