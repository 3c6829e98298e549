// Rules about single lines, and how a record combines its lines.
#include <algorithm>
#include <map>

#include "rules.hpp"

namespace tovra::check {

namespace {

std::string quoted_keyword(word keyword) {
  return "'" + std::string(tvr::keyword_of(keyword).text) + "'";
}

bool uses_format(const record &record) {
  return record.is("print_if") || record.is("push_mode");
}

struct op_fields {
  const char *op;
  std::vector<word> used;
};

// The keywords that each op reads, besides "Cmd:", "Parent Cmd:", "Op:" and "TvrLangVersion:".
const std::vector<op_fields> &fields_of_ops() {
  static const std::vector<op_fields> fields = {
      {"no_op", {}},
      {"push_mode", {word::dest, word::fmt}},
      {"get_collection", {word::uri, word::query, word::orderby, word::group, word::location_scheme}},
      {"get_one", {word::uri}},
      {"iter", {word::location_scheme}},
      {"print_if",
       {word::fmt, word::dest, word::props, word::location, word::newline, word::cond, word::value_map}},
  };
  return fields;
}

bool is_of_every_op(word keyword) {
  return keyword == word::cmd || keyword == word::parent || keyword == word::op || keyword == word::version ||
         keyword == word::none;
}

bool may_repeat(word keyword) {
  return keyword == word::none || keyword == word::cmd || keyword == word::query ||
         keyword == word::orderby || keyword == word::props || keyword == word::location ||
         keyword == word::value_map;
}

} // namespace

// Finds text without a keyword: the loader ignores it.
void find_unknown_lines(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    for (const line &line : record.lines) {
      if (line.keyword != word::none) continue;
      const word meant = nearest_keyword(line.value);
      tell(record, line.number,
           "no keyword begins this line, and it is ignored" +
               (meant != word::none ? ", did you mean " + quoted_keyword(meant) + "?"
                                    : "; begin comments with '#'"));
    }
  }
}

// Finds records without an id: they make no node, and the next record gets their lines.
void find_nameless(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    if (record.id.empty()) {
      tell(record, record.lines.front().number,
           "no 'Cmd:' with an id follows: nothing is made of these lines");
      continue;
    }
    for (const line &line : record.lines) {
      if (line.keyword == word::cmd && trimmed(line.value).empty()) {
        tell(record, line.number, "'Cmd:' without an id: these lines pass to '" + record.id + "'");
      }
    }
  }
}

// Finds values that a record takes over from the record before it, though it does not look like that.
void find_carried(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    if (record.id.empty()) continue;
    if (!record.own_op && !record.is("no_op")) {
      tell(record, word::cmd,
           "without 'Op:' this record is " + record.op + ", as the one before it; write its 'Op:'",
           path_read_by(record).value_or(""));
    }
    if (!record.own_format && uses_format(record) && !record.format.empty()) {
      const bool jumps = record.is("push_mode");
      tell(record, word::cmd,
           std::string("without '") + (jumps ? "Dest" : "Fmt") + ":' this record takes '" + record.format +
               "' from the one before it" + (jumps ? "" : ", with no slot counted") + "; write its own");
    }
  }
}

// Finds lines that a later line of the same record replaces.
void find_repeated(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    std::map<word, int> seen;
    for (const line &line : record.lines) {
      if (may_repeat(line.keyword)) continue;
      const word field = line.keyword == word::dest ? word::fmt : line.keyword; // both fill the same field
      const auto [at, first] = seen.try_emplace(field, line.number);
      if (first) continue;
      tell(record, line.number,
           quoted_keyword(line.keyword) + " replaces line " + std::to_string(at->second) +
               " of this record; is a 'Cmd:' missing between them?");
    }
  }
}

// Finds fields that the op of the record does not read.
void find_discarded(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    const auto op = std::find_if(fields_of_ops().begin(), fields_of_ops().end(),
                                 [&record](const op_fields &fields) { return record.is(fields.op); });
    if (op == fields_of_ops().end() || record.id.empty()) continue;
    for (const line &line : record.lines) {
      const bool used = std::find(op->used.begin(), op->used.end(), line.keyword) != op->used.end();
      if (used || is_of_every_op(line.keyword)) continue;
      tell(record, line.number,
           record.op + " does not read " + quoted_keyword(line.keyword) + ": it is discarded");
    }
  }
}

} // namespace tovra::check
