// Tells the client what has been found, and what is no longer found.
#include <algorithm>

#include "../output.hpp"
#include "session.hpp"
#include "token.hpp"

namespace tovra::lsp {

namespace {

json diagnostic(const check::finding &found, const range &where) {
  return {{"range", as_json(where)},
          {"severity", found.weight == check::severity::error ? 1 : 2},
          {"code", found.id},
          {"source", "tovra"},
          {"message", visible(found.message)}};
}

// The range of a line, without the blanks around its text.
range line_range(const text &of, int number) {
  const span line = of.loader_line(std::max(number, 1));
  const auto words = words_of(of, line);
  return of.range_of(words.empty() ? line : span{words.front().begin, words.back().end});
}

} // namespace

void session::collect(group &into) {
  const workspace &from = *into.of;
  into.findings.clear();
  into.remarks.clear();
  for (const auto &[path, open] : files_.documents()) {
    if (from.has(path)) into.findings[path] = {{}, open.version};
  }
  for (const check::finding &found : from.found().all()) {
    if (found.file == from.data_name()) {
      const size_t line = static_cast<size_t>(std::max(found.line, 1)) - 1;
      into.findings[from.data_path()].diagnostics.push_back(diagnostic(found, {{line, 0}, {line + 1, 0}}));
    } else if (from.has(found.file)) {
      const range where = line_range(*files_.text_of(found.file), found.line);
      into.findings[found.file].diagnostics.push_back(diagnostic(found, where));
    } else {
      into.remarks.insert(found.file + ": " + found.message);
    }
  }
  if (!from.data_fault().empty()) into.remarks.insert(from.data_fault());
}

void session::publish() {
  std::map<std::string, published> now;
  std::set<std::string> remarks;
  for (auto &[directories, known] : groups_) {
    if (known.of->refresh()) collect(known);
    now.insert(known.findings.begin(), known.findings.end());
    remarks.insert(known.remarks.begin(), known.remarks.end());
  }
  for (const auto &[path, gone] : published_) {
    if (!now.contains(path) && !gone.diagnostics.empty()) now[path] = {{}, std::nullopt};
  }
  for (const auto &[path, found] : now) {
    const auto before = published_.find(path);
    if (before != published_.end() && before->second == found) continue;
    json params = {{"uri", files_.uri_of(path)}, {"diagnostics", found.diagnostics}};
    if (found.version) params["version"] = *found.version;
    notify("textDocument/publishDiagnostics", std::move(params));
  }
  published_ = std::move(now);
  for (const std::string &remark : remarks) {
    if (!shown_.contains(remark)) show(weight_warning, "tovra: " + visible(remark));
  }
  shown_ = std::move(remarks);
}

} // namespace tovra::lsp
