#include "agent/page/Html.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

TEST(Html, TextsAndValuesAreEscaped) {
    struct {
        const char* raw;
        const char* escaped;
    } constexpr kRows[] = {
        {"md0, slot 3", "md0, slot 3"},
        {"", ""},
        {"<b>&\"'", "&lt;b&gt;&amp;&quot;&#39;"},
        {"&amp;", "&amp;amp;"},
        {"a\x1b[31m", "a\\x1b[31m"},
        {"\xff", "\\xff"},
        {"two\nlines", "two\\nlines"},
        {"\u202e", "\\u{202e}"},
        {"Größe", "Größe"},
    };
    for (const auto& row : kRows) EXPECT_EQ(row.escaped, Html::escaped(row.raw));
}

TEST(Html, ElementsNest) {
    Html html;
    html.open("p", {{"class", "a\"b"}, {"id", ""}}).text("1 < 2");
    html.element("b", {}, "x").empty("hr").close();
    EXPECT_EQ("<p class=\"a&quot;b\">1 &lt; 2<b>x</b><hr/></p>", html.str());
    EXPECT_EQ(0U, html.depth());
}

TEST(Html, GivenNothingOpenThenNothingCanBeClosed) {
    Html html;
    EXPECT_THROW(html.close(), std::logic_error);
    Html part;
    part.open("p");
    EXPECT_THROW(html.append(part), std::logic_error);
    part.close();
    EXPECT_EQ("<p></p>", html.append(part).str());
}

}  // namespace
