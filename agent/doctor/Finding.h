// Finding: what one look of the doctor came to. A plain value; texts may hold raw names.
#ifndef AGENT_DOCTOR_FINDING_H
#define AGENT_DOCTOR_FINDING_H

#include <string>

struct Finding {
    enum class Kind {
        kOk,
        kAdvice,   // works, but could be better, or could not be looked at
        kProblem,  // needs work
    };

    Kind kind = Kind::kOk;
    std::string topic;  // a word or two: "machine lock"
    std::string text;   // what is so
    std::string cure;   // what to do; "" for kOk
};

#endif  // AGENT_DOCTOR_FINDING_H
