#include "agent/web/WebProblem.h"

#include <nlohmann/json.hpp>

#include "agent/EventJson.h"
#include "agent/SafeText.h"

namespace {

struct Title {
    int status;
    const char* title;
};

constexpr Title kTitles[] = {
    {400, "Bad Request"},       {401, "Unauthorized"},          {403, "Forbidden"},
    {404, "Not Found"},         {405, "Method Not Allowed"},    {421, "Misdirected Request"},
    {429, "Too Many Requests"}, {500, "Internal Server Error"}, {503, "Service Unavailable"},
};

}  // namespace

const char* statusTitle(int status) {
    for (const Title& row : kTitles) {
        if (row.status == status) return row.title;
    }
    return "Error";
}

WebAnswer webProblem(int status, const std::string& detail) {
    WebAnswer answer;
    answer.status = status;
    answer.type = kProblemType;
    answer.body = jsonLine({{"type", "about:blank"},
                            {"title", statusTitle(status)},
                            {"status", status},
                            {"detail", safeText(detail)}}) +
                  "\n";
    return answer;
}
