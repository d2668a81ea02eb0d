#include "agent/metrics/MetricsFamilies.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

namespace {

const std::string kDocument = QEL_SOURCE_DIR "/docs/formats/metrics.md";
constexpr char kBegin[] = "<!-- the tables are made from the rows of the program -->\n\n";
constexpr char kEnd[] = "\n<!-- here they end -->\n";

std::string contents() {
    std::ifstream in(kDocument, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

TEST(MetricsFamilies, TheDocumentHasTheSameTables) {
    std::string document = contents();
    const std::size_t begin = document.find(kBegin);
    const std::size_t end = document.find(kEnd);
    ASSERT_NE(std::string::npos, begin);
    ASSERT_NE(std::string::npos, end);
    const std::size_t first = begin + std::strlen(kBegin);
    if (std::getenv("QEL_APPROVE") != nullptr) {
        document.replace(first, end - first, metricsMarkdown());
        std::ofstream(kDocument) << document;
        return;
    }
    EXPECT_EQ(metricsMarkdown(), document.substr(first, end - first))
        << "QEL_APPROVE=1 writes the present ones";
}

TEST(MetricsFamilies, NamesAreGivenOnce) {
    std::set<std::string> names;
    for (const MetricsFamily& family : metricsFamilies()) {
        EXPECT_TRUE(names.insert(family.name).second) << family.name;
    }
}

TEST(MetricsFamilies, NamesKeepToTheCustomsOfPrometheus) {
    for (const MetricsFamily& family : metricsFamilies()) {
        SCOPED_TRACE(family.name);
        const std::string name = family.name;
        EXPECT_EQ(std::string::npos, name.find_first_not_of("abcdefghijklmnopqrstuvwxyz_"));
        const bool total = name.size() > 6 && name.substr(name.size() - 6) == "_total";
        EXPECT_EQ(total, std::string("counter") == family.type);
        const bool info = name.size() > 5 && name.substr(name.size() - 5) == "_info";
        EXPECT_EQ(info, std::strncmp(family.help, "Always 1; ", 10) == 0);
        const std::string help = family.help;
        EXPECT_EQ(std::string::npos, help.find_first_of("\\\n|`")) << "would need escapes";
        EXPECT_NE('.', help.back());
    }
}

TEST(MetricsFamilies, StatesHaveTheirLabelLast) {
    for (const MetricsFamily& family : metricsFamilies()) {
        const std::string name = family.name;
        if (name.size() < 6 || name.substr(name.size() - 6) != "_state") continue;
        const std::string labels = family.labels;
        EXPECT_EQ(",state", labels.substr(labels.size() - 6)) << name;
    }
}

}  // namespace
