// The table of rules: the id of each, how severe its findings are, and its function. A rule is written once,
// in its function and here; messages, order and JSON are made for all of them in one place.
#include "rules.hpp"

namespace tovra::check {

static constexpr rule rules[] = {
    {"orphan", severity::error, find_orphans},
    {"jump", severity::error, find_unresolved_jumps},
    {"jump-loop", severity::error, find_jump_loops},
    {"ways", severity::error, find_too_many_ways},
    {"unreached", severity::warning, find_unreached},
    {"no-config", severity::warning, find_missing_config},
    {"iter", severity::error, find_iterations_of_nothing},

    {"unknown-line", severity::error, find_unknown_lines},
    {"nameless", severity::error, find_nameless},
    {"carried", severity::warning, find_carried},
    {"repeated", severity::warning, find_repeated},
    {"discarded", severity::warning, find_discarded},

    {"props-before-fmt", severity::error, find_props_before_fmt},
    {"tab", severity::error, find_tabs},
    {"empty-slot", severity::error, find_empty_slots},
    {"literal-slot", severity::warning, find_formats_without_properties},
    {"unused-property", severity::warning, find_unused_properties},
    {"count", severity::warning, find_counts},
    {"location-scheme", severity::warning, find_location_schemes},

    {"dropped-blank", severity::warning, find_dropped_blanks},
    {"mid-line", severity::warning, find_blanks_within_lines},

    {"cond", severity::error, find_bad_conditions},
    {"cond-name", severity::error, find_unknown_condition_names},
    {"eval-null", severity::warning, find_null_pairs},
    {"eval-beside", severity::warning, find_names_beside_pairs},
    {"literal", severity::warning, find_literals_of_no_value},
    {"text-number", severity::warning, find_compared_texts},

    {"plain-path", severity::error, find_plain_paths},
    {"single-read", severity::error, find_single_reads_of_lists},
    {"lost-key", severity::warning, find_lost_keys},
    {"query", severity::warning, find_bad_queries},

    {"key", severity::error, find_keys_without_record},
    {"scope", severity::error, find_records_out_of_scope},
    {"incomplete", severity::error, find_incomplete_lines},
    {"optional", severity::warning, find_optional_records},
    {"list-path", severity::warning, find_plain_paths_of_lists},

    {"second-read", severity::error, find_second_reads},
    {"read-per-instance", severity::warning, find_reads_per_instance},
    {"hidden-list", severity::error, find_hidden_lists},

    {"unknown-path", severity::warning, find_unknown_paths},
    {"unknown-path", severity::error, find_paths_without_class},
    {"unknown-property", severity::error, find_unknown_properties},
    {"secret-key", severity::warning, find_secret_keys},
    {"unread-records", severity::warning, find_unread_records},
    {"unread-property", severity::warning, find_unread_properties},

    {"kind", severity::warning, find_mixed_kinds},
    {"key-names", severity::warning, find_other_keys},
    {"no-parent", severity::warning, find_records_without_parent},
    {"text-number", severity::warning, find_ordered_texts},
    {"no-array", severity::error, find_scalars_as_arrays},
};

void run_rules(const subject &subject, findings &found) {
  for (const rule &rule : rules) rule.look(subject, teller(found, rule.id, rule.weight));
  found.sort(subject.templates.files);
  fold_consequences(subject, found);
}

} // namespace tovra::check
