// What the tests of the agent share: an output that keeps what is written to it.
#ifndef TESTS_AGENT_AGENTFIXTURE_H
#define TESTS_AGENT_AGENTFIXTURE_H

#include <string>
#include <vector>

#include "agent/Context.h"
#include "agent/Output.h"
#include "agent/StopSignal.h"

class KeptOutput : public Output {
public:
    KeptOutput() : Output(-1) {}
    void write(const std::string& text) override {
        if (closed) throw OutputClosed();
        kept += text;
    }
    void check() const override {
        if (closed) throw OutputClosed();
    }

    std::string kept;
    bool closed = false;
};

struct KeptContext {
    KeptOutput out;
    StopSignal stop;
    std::vector<std::string> notes;
    Context context{out, stop, [this](const std::string& line) { notes.push_back(line); }, {}};
};

#endif  // TESTS_AGENT_AGENTFIXTURE_H
