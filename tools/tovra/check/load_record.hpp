// One record of a template file on its way into the tree.
#pragma once

#include "finding.hpp"
#include "source.hpp"

namespace tovra::check {

// Makes the record's node. A line that is refused is found and left out, so that the lines after it are
// looked at too; the record is then not sound. `namesake`: the record that has its id already, or none.
void load_record(zu_tvr_tree *tree, record &record, const check::record *namesake, findings &found);

} // namespace tovra::check
