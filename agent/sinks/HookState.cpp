#include "agent/sinks/HookState.h"

#include <exception>

#include <nlohmann/json.hpp>

#include "agent/SafeFile.h"
#include "agent/state/StateJson.h"

ExecSink::StateSource stateIn(const std::string& file) {
    return [file]() -> std::unique_ptr<MachineState> {
        std::string text;
        if (!readSafely(file, text)) return nullptr;
        try {
            return std::make_unique<MachineState>(
                stateFromJson(nlohmann::ordered_json::parse(text)));
        } catch (const std::exception&) {
            return nullptr;  // others tell people that the file is damaged
        }
    };
}
