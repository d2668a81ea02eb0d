#include "agent/sinks/BodyTemplate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "agent/sinks/HostName.h"
#include "tests/agent/support/NetFixture.h"

namespace {

using Escape = BodyTemplate::Escape;

std::string filled(const std::string& text, const Record& record, Escape escape = Escape::kNone) {
    return BodyTemplate(text, escape).fill(record, net::kId);
}

TEST(BodyTemplate, FillsEveryFieldOfANotice) {
    struct Row {
        const char* field;
        std::string value;
    };
    const Record notice = net::noticeRecord(Notice::Kind::kWorse);
    for (const Row& row :
         {Row{"body", "Drive 1:0:3 has failed.\nReplace it.\n"}, Row{"code", "404"},
          Row{"condition", "drive"}, Row{"eventId", ""}, Row{"host", hostName()},
          Row{"id", net::kId}, Row{"incident", "7"}, Row{"kind", "notice"}, Row{"notice", "worse"},
          Row{"object", "drive:S7K2M9Q0"}, Row{"objectName", "drive 1:0:3"}, Row{"origin", "live"},
          Row{"sequence", "42"}, Row{"severity", "ERROR"}, Row{"severityNumber", "1"},
          Row{"subject", "FAILED drive 1:0:3 on box"}, Row{"time", "2026-11-21T05:20:12Z"},
          Row{"value", "failed"}}) {
        EXPECT_EQ(row.value, filled(std::string("{{") + row.field + "}}", notice)) << row.field;
    }
    EXPECT_EQ(19u, BodyTemplate::fields().size()) << "a new field needs a row above";
}

TEST(BodyTemplate, FillsAnEvent) {
    EXPECT_EQ(
        "event 404 EVENT_TORVEX_PD_STATE_FAILED Drive failed: drive 1:0:3||",
        filled("{{kind}} {{code}} {{ eventId }} {{subject}}|{{notice}}|", net::eventRecord()));
}

TEST(BodyTemplate, EscapesWhateverADeviceCallsItself) {
    Record record = net::noticeRecord(Notice::Kind::kOpened);
    record.objectName = "a\"b\\c\r\nd&e=\xc3\xbc \xff";
    EXPECT_EQ("\"a\\\"b\\\\c\\r\\nd&e=\xc3\xbc \xef\xbf\xbd\"",
              filled("\"{{objectName}}\"", record, Escape::kJson));
    EXPECT_EQ("n=a%22b%5Cc%0D%0Ad%26e%3D%C3%BC%20%FF",
              filled("n={{objectName}}", record, Escape::kForm));
    EXPECT_EQ("a\"b\\c  d&e=\xc3\xbc \xff", filled("{{objectName}}", record, Escape::kHeader));
}

TEST(BodyTemplate, GivenTheWholeRecordInJsonThenPutsItInAsAnObject) {
    const std::string text = filled("{\"record\": {{json}}}", net::eventRecord(), Escape::kJson);
    EXPECT_EQ(net::kId, nlohmann::json::parse(text)["record"]["id"]);
}

TEST(BodyTemplate, GivenAnUnknownFieldOrOpenBracesThenSaysWhatThereIs) {
    for (const char* text : {"{{serial}}", "{{}}", "{{subject", "x {{ subject }"}) {
        EXPECT_THROW(BodyTemplate(text, Escape::kNone), std::invalid_argument) << text;
    }
    try {
        const BodyTemplate form("{{title}}", Escape::kNone);
        ADD_FAILURE();
    } catch (const std::invalid_argument& e) {
        EXPECT_THAT(e.what(), testing::StartsWith("there is no {{title}}; there are body, code,"));
    }
}

TEST(BodyTemplate, LeavesSingleBracesAlone) {
    EXPECT_EQ("{\"a\":{}} }}", filled("{\"a\":{}} }}", net::eventRecord()));
}

}  // namespace
