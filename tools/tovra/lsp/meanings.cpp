// The meanings of keywords and ops.
#include "meanings.hpp"

#include <iterator>

namespace tovra::lsp {

namespace {

constexpr const char *every_op = "every record";

// In the order of `word`.
constexpr keyword_meaning keywords[] = {
    {"Begins a record.", "the id of its node", every_op},
    {"Hangs the node below another one; without it the node stands at the top.", "the id of that node",
     every_op},
    {"What a walk of the node does. Without it the op is that of the record before.", "an op", every_op},
    {"What is read.", "`/a/b` a record or all records of a path, `/a?b` the list b below /a",
     "get_one get_collection"},
    {"What arguments of a partial render search. Several lines add up.", "`NAME=$NAME`", "get_collection"},
    {"The text of the line. Blanks at its ends are dropped.", "a text, with `%s` for each value", "print_if"},
    {"The node to walk, one level deeper.", "the id of that node", "push_mode"},
    {"A record in scope, and which of its properties go to which slot. A line a record.",
     "`URI NAME:SLOT ...`, slots from 0", "print_if"},
    {"A property that is a place, and which of its fields go to which slot.",
     "`URI PROPERTY:SCHEME FIELD:SLOT ...`", "print_if"},
    {"The line begins on a new line; without it, where the last one ended.", "not read", "print_if"},
    {"When the line is printed. `$tvrN` is the property with number N.",
     "a condition, such as `(ne $tvr0 false)`", "print_if"},
    {"Texts in place of the values of a slot. A slot with a map is not quoted.",
     "`SLOT value text value text ...`", "print_if"},
    {"Sorts the records. Several lines add up.", "a property", "get_collection"},
    {"Puts records with equal `Orderby:` values into a group, and walks the children once a group.",
     "not read", "get_collection"},
    {"Sorts by place, and brings each record's place into scope.", "not read", "get_collection iter"},
    {"The version of the language, in the first line of a file.", "`1`", every_op},
};
static_assert(std::size(keywords) == static_cast<size_t>(tvr::word::none));

// In the order of `tvr::ops`.
constexpr const char *ops[] = {
    "Does nothing: holds an outline together. Its children are walked once.",
    "Walks another node, the one that `Dest:` names, one level deeper. It has no children.",
    "Reads a list. Its children are walked once for each record, or group.",
    "Reads a record. Its children are walked once, when there is one.",
    "Prints a line. Its children are walked once, unless the line is left out with them.",
    "Goes through a group. Its children are walked once for each of its records.",
};
static_assert(std::size(ops) == std::size(tvr::ops));

} // namespace

const keyword_meaning &meaning_of(tvr::word keyword) {
  return keywords[static_cast<size_t>(keyword)];
}

const char *meaning_of_op(std::string_view op) {
  for (size_t i = 0; i < std::size(ops); ++i) {
    if (op == tvr::ops[i]) return ops[i];
  }
  return nullptr;
}

bool reads(std::string_view op, tvr::word keyword) {
  const std::string_view readers = meaning_of(keyword).ops;
  return readers == every_op || readers.find(op) != readers.npos;
}

} // namespace tovra::lsp
