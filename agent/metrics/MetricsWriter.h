// MetricsWriter: writes samples in the text format of Prometheus, family by family.
//
//   MetricsWriter out;
//   out.begin("raidwatch_array_state", "gauge", "array,state", "Whether ...");
//   out.sample({metricsLabel(array.key), "normal"}, 1);
//   response = out.take();
//
//   # HELP raidwatch_array_state Whether ...
//   # TYPE raidwatch_array_state gauge
//   raidwatch_array_state{array="array:0:127",state="normal"} 1
//
// Label values are written as they are: pass them through metricsLabel() or metricsLabels() first,
// once for each object, because an object has many samples. A label without a value is left out,
// which to Prometheus is the same.
//
// Threads  One at a time. Errors: none; a number that is none is not written.
#ifndef AGENT_METRICS_METRICSWRITER_H
#define AGENT_METRICS_METRICSWRITER_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

class MetricsWriter {
public:
    // `labels`: their names, with commas between; "" for none.
    void begin(const char* name, const char* type, const char* labels, const char* help);

    // One value for each label, in the order of begin().
    void sample(std::initializer_list<std::string_view> values, std::int64_t number);
    void sample(std::initializer_list<std::string_view> values, double number);

    std::string take();

private:
    void head(std::initializer_list<std::string_view> values);

    std::string text;
    std::string family;
    std::vector<std::string> labels;
};

// Text from hardware as the value of a label: one line of valid UTF-8, what is neither shown as
// escapes (SafeText), backslash and quote escaped as the format wants it, 200 columns at the most.
std::string metricsLabel(const std::string& raw);

// How an object is called, and where it stands, in case another one is called the same.
struct MetricsName {
    std::string key;
    std::string place;
};

// The same for objects that must be told apart: values that would be equal get their place, and
// where even that is equal, a number: "drive:A@1:0:3", "drive:A@1:0:3#2". In the order of `names`.
std::vector<std::string> metricsLabels(const std::vector<MetricsName>& names);

#endif  // AGENT_METRICS_METRICSWRITER_H
