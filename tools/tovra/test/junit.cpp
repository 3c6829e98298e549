// Results in JUnit's XML: a suite for each folder, a case for each run.
#include "junit.hpp"

#include <algorithm>
#include <cstdio>

namespace tovra::test {

namespace {

// The length of the UTF-8 character at the beginning of a text; 0 when there is none.
size_t character_length(std::string_view text) {
  const auto byte = [text](size_t at) { return static_cast<unsigned char>(text[at]); };
  const size_t length = byte(0) < 0x80    ? 1
                        : byte(0) >= 0xf0 ? 4
                        : byte(0) >= 0xe0 ? 3
                        : byte(0) >= 0xc2 ? 2
                                          : 0;
  if (length == 0 || byte(0) > 0xf4 || text.size() < length) return 0;
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0) != 0x80) return 0;
  }
  // Surrogates, too long forms, numbers beyond Unicode, and characters that XML does not allow.
  const bool wrong = (byte(0) == 0xe0 && byte(1) < 0xa0) || (byte(0) == 0xed && byte(1) > 0x9f) ||
                     (byte(0) == 0xf0 && byte(1) < 0x90) || (byte(0) == 0xf4 && byte(1) > 0x8f) ||
                     (byte(0) == 0xef && byte(1) == 0xbf && byte(2) >= 0xbe);
  return wrong ? 0 : length;
}

// Writes bytes that XML cannot contain as \xHH.
std::string escaped(std::string_view text) {
  std::string made;
  while (!text.empty()) {
    const char c = text.front();
    const size_t length = character_length(text);
    if (c == '&' || c == '<' || c == '>' || c == '"') {
      made += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : "&quot;";
    } else if (length == 0 || (static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t')) {
      char shown[5];
      std::snprintf(shown, sizeof shown, "\\x%02X", static_cast<unsigned char>(c));
      made += shown;
    } else {
      made += text.substr(0, length);
    }
    text.remove_prefix(std::max<size_t>(length, 1));
  }
  return made;
}

std::string attribute(const char *name, const std::string &value) {
  return std::string(" ") + name + "=\"" + escaped(value) + "\"";
}

std::string seconds(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f", value);
  return text;
}

std::string as_case(const result &of) {
  std::string made = "    <testcase" + attribute("classname", of.folder) + attribute("name", of.name) +
                     attribute("time", seconds(of.found.seconds));
  if (of.found.faults.empty()) return made + "/>\n";
  std::string text;
  for (const auto &line : of.found.faults) text += line + "\n";
  const std::string &first = of.found.faults.front();
  return made + ">\n      <failure" +
         attribute("message", first.substr(std::min(first.find_first_not_of(' '), first.size()))) + ">" +
         escaped(text) + "</failure>\n    </testcase>\n";
}

} // namespace

std::string as_junit(const std::vector<result> &results) {
  std::string made = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n";
  for (auto at = results.begin(); at != results.end();) {
    const auto end = std::find_if(at, results.end(), [&](const result &r) { return r.folder != at->folder; });
    const auto failures = std::count_if(at, end, [](const result &r) { return !r.found.faults.empty(); });
    made += "  <testsuite" + attribute("name", at->folder) + attribute("tests", std::to_string(end - at)) +
            attribute("failures", std::to_string(failures)) + ">\n";
    for (; at != end; ++at) made += as_case(*at);
    made += "  </testsuite>\n";
  }
  return made + "</testsuites>\n";
}

} // namespace tovra::test
