// The rules of a check. Each looks at all templates and reports its findings.
#pragma once

#include <string>

#include "data_set.hpp"
#include "walks.hpp"

namespace tovra::check {

struct subject {
  const template_set &templates;
  const walks &ways;
  const data_set *data; // null: the templates are checked alone
};

// Takes the findings of one rule, and adds the id and the severity that the table has for it.
class teller {
public:
  teller(findings &into, const char *id, severity weight) : into_(into), id_(id), weight_(weight) {}
  void operator()(const std::string &file, int line, const std::string &message,
                  const std::string &about = "") const {
    into_.add({file, line, weight_, id_, message, nullptr, about, {}});
  }
  void operator()(const record &at, int line, const std::string &message,
                  const std::string &about = "") const {
    into_.add({at.file, line, weight_, id_, message, &at, about, {}});
  }
  // Reports at the last line of that keyword, or at the "Cmd:" line when there is none.
  void operator()(const record &at, word keyword, const std::string &message,
                  const std::string &about = "") const {
    (*this)(at, at.number_of(keyword), message, about);
  }

private:
  findings &into_;
  const char *id_;
  severity weight_;
};

struct rule {
  const char *id;
  severity weight;
  void (*look)(const subject &, const teller &);
};

// Applies all rules, and adds their findings in order, consequences below their causes.
void run_rules(const subject &subject, findings &found);

// Moves consequences below the findings that cause them.
void fold_consequences(const subject &subject, findings &found);

// ---- The rules; each is described at its definition ----

// links
void find_orphans(const subject &, const teller &);
void find_unresolved_jumps(const subject &, const teller &);
void find_jump_loops(const subject &, const teller &);
void find_too_many_ways(const subject &, const teller &);
void find_unreached(const subject &, const teller &);
void find_missing_config(const subject &, const teller &);
void find_iterations_of_nothing(const subject &, const teller &);
// lines
void find_unknown_lines(const subject &, const teller &);
void find_nameless(const subject &, const teller &);
void find_carried(const subject &, const teller &);
void find_repeated(const subject &, const teller &);
void find_discarded(const subject &, const teller &);
// formats and properties
void find_props_before_fmt(const subject &, const teller &);
void find_tabs(const subject &, const teller &);
void find_empty_slots(const subject &, const teller &);
void find_formats_without_properties(const subject &, const teller &);
void find_unused_properties(const subject &, const teller &);
void find_counts(const subject &, const teller &);
void find_location_schemes(const subject &, const teller &);
// how lines join
void find_dropped_blanks(const subject &, const teller &);
void find_blanks_within_lines(const subject &, const teller &);
// conditions
void find_bad_conditions(const subject &, const teller &);
void find_unknown_condition_names(const subject &, const teller &);
void find_null_pairs(const subject &, const teller &);
void find_names_beside_pairs(const subject &, const teller &);
void find_literals_of_no_value(const subject &, const teller &);
void find_compared_texts(const subject &, const teller &);
// URIs
void find_plain_paths(const subject &, const teller &);
void find_single_reads_of_lists(const subject &, const teller &);
void find_lost_keys(const subject &, const teller &);
void find_bad_queries(const subject &, const teller &);
// scope
void find_keys_without_record(const subject &, const teller &);
void find_records_out_of_scope(const subject &, const teller &);
void find_incomplete_lines(const subject &, const teller &);
void find_optional_records(const subject &, const teller &);
void find_plain_paths_of_lists(const subject &, const teller &);
// reads
void find_second_reads(const subject &, const teller &);
void find_reads_per_instance(const subject &, const teller &);
void find_hidden_lists(const subject &, const teller &);
// data
void find_unknown_paths(const subject &, const teller &);
void find_paths_without_class(const subject &, const teller &);
void find_unknown_properties(const subject &, const teller &);
void find_unread_records(const subject &, const teller &);
void find_unread_properties(const subject &, const teller &);
// values
void find_secret_keys(const subject &, const teller &);
void find_mixed_kinds(const subject &, const teller &);
void find_other_keys(const subject &, const teller &);
void find_records_without_parent(const subject &, const teller &);
void find_ordered_texts(const subject &, const teller &);
void find_scalars_as_arrays(const subject &, const teller &);

} // namespace tovra::check
