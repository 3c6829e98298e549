// Checks the rules that apply after a failure. The lists
// here are those of docs/embedding.md, "What is not told".
#include "judge.hpp"

#include <algorithm>

namespace fault {

namespace {

using texts = std::vector<std::string>;

// Failures that are only traced while the result may be true, by the beginning of their trace.
constexpr const char *told_by_a_load[] = {
    // the text of a template file, an "Orderby:" line
    "Failed to allocate string",
    "Failed to allocate orderby clause",
    // the pairs of a condition
    "Failed to parse evals in Cond expr",
};
constexpr const char *told_by_a_walk[] = {
    // a submode tag
    "Failed to allocate buffer",
    // records that were read ahead of need, the mark that they were read
    "Unable to create mr cache",
    "Unable to insert into mr cache",
    "Failed to convert current uri to relative uri",
};

// Failures that end the walk with false alone, which a later batch makes true again.
constexpr const char *told_by_the_result[] = {
    "Failed to allocate condition properties",
    "Failed to format location to string",
    "Failed to convert location",
    "Could not strdup string",
    "Unable to allocate hash struct",
    "Failed to allocate memory for props",
    "crudx node: ",
};

template <size_t N>
bool is_told(const texts &traces, const char *const (&beginnings)[N]) {
  return std::any_of(traces.begin(), traces.end(), [&](std::string_view trace) {
    trace.remove_prefix(std::min(trace.size(), std::string_view("(ERR): ").size()));
    return std::any_of(std::begin(beginnings), std::end(beginnings),
                       [&](const char *told) { return trace.starts_with(told); });
  });
}

// A text's lines that another one does not have as often.
texts added(texts to, const texts &from) {
  for (const std::string &line : from) {
    if (const auto at = std::find(to.begin(), to.end(), line); at != to.end()) to.erase(at);
  }
  return to;
}

// Nothing new, nothing twice, nothing out of order.
bool is_part_of(const texts &some, const texts &all) {
  auto at = all.begin();
  for (const std::string &piece : some) {
    at = std::find(at, all.end(), piece);
    if (at == all.end()) return false;
    ++at;
  }
  return true;
}

// The get-one node reports these failures with codes of its own.
bool has_code(const texts &errors, int code) {
  return std::any_of(errors.begin(), errors.end(), [&](const std::string &error) {
    return error.starts_with(std::to_string(code) + " ") ||
           error == "10000 Failed to get collection interface" || error == "10002 Failed to get cursor";
  });
}

} // namespace

std::string wrong(const outcome &got, const outcome &wanted, const scenario &tried, const kind &failing) {
  // A batch that is not whole may begin its groups with another row.
  const bool comparable = wanted.clean() && (got.clean() || !tried.in_batches);
  if (comparable && !is_part_of(got.text, wanted.text)) return "has lines of its own";
  const texts errors = added(got.errors, wanted.errors);
  if (failing.means == meaning::refusal) {
    if (!errors.empty()) return "a refusal is told as an error";
    if (!std::equal(got.text.begin(), got.text.end(), wanted.text.begin())) {
      return "leaves out a line before the refused one";
    }
    const bool is_whole = got.text.size() == wanted.text.size();
    const bool is_tag = !is_whole && wanted.text[got.text.size()].find("submode>") != std::string::npos;
    return !got.done || is_whole || is_tag || tried.in_batches ? "" : "counts a refused line as done";
  }
  if (got.same(wanted) || failing.means == meaning::no_record) return "";
  if (!got.done && got.errors.empty() && got.traces.empty()) return "failed without a word";
  if (failing.code != 0 && !errors.empty() && !has_code(errors, failing.code)) return "tells another code";
  if (!got.clean() || is_told(got.traces, told_by_a_walk)) return "";
  if (tried.loads && is_told(got.traces, told_by_a_load)) return "";
  if (tried.in_batches && is_told(got.traces, told_by_the_result)) return "";
  const bool of_a_fetch = failing.means == meaning::no_memory || failing.name.starts_with("fetch");
  return tried.may_miss_rows && of_a_fetch ? "" : "passes for whole, but is not";
}

std::string words(const outcome &got, const outcome &wanted) {
  std::string all = got.done ? "true" : "false";
  for (const std::string &error : added(got.errors, wanted.errors)) all += "; error " + error;
  for (const std::string &trace : added(got.traces, wanted.traces)) all += "; " + trace;
  for (const auto &[from, to, word] : {std::tuple(wanted.text, got.text, "; no line "),
                                       std::tuple(got.text, wanted.text, "; line too many ")}) {
    for (const std::string &line : added(from, to)) all += word + line.substr(line.starts_with('\n') ? 1 : 0);
  }
  return all;
}

} // namespace fault
