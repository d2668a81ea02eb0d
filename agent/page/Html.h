// Html: a document under construction. Whatever is put into it is made safe to show (SafeText) and
// escaped, and what is opened is closed by name, so that no text of a drive becomes a part of the
// page.
//
//   Html html;
//   html.open("p", {{"class", "level"}}).text("md0 <b>").close();
//   html.element("span", {}, drive.serial);
//   html.empty("use", {{"href", "#i-bad"}});
//
// gives
//
//   <p class="level">md0 &lt;b&gt;</p><span>S7K2M9Q0</span><use href="#i-bad"/>
//
// Names of tags and attributes are ours, values are anybody's. An attribute with an empty value is
// left out.
//
// Threads  One at a time. Errors: std::logic_error for a close() without an open().
#ifndef AGENT_PAGE_HTML_H
#define AGENT_PAGE_HTML_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class Html {
public:
    using Attributes = std::initializer_list<std::pair<const char*, std::string_view>>;

    Html& open(const char* tag, Attributes attributes = {});
    Html& close();  // what was opened last
    Html& empty(const char* tag, Attributes attributes = {});
    Html& text(std::string_view raw);
    Html& element(const char* tag, Attributes attributes, std::string_view raw);
    Html& doctype();
    Html& append(const Html& part);  // a whole one

    const std::string& str() const { return out; }
    std::size_t depth() const { return tags.size(); }

    // Fit to stand between tags or, in double quotes, as the value of an attribute.
    static std::string escaped(std::string_view raw);

private:
    void begin(const char* tag, Attributes attributes);

    std::string out;
    std::vector<const char*> tags;
};

#endif  // AGENT_PAGE_HTML_H
