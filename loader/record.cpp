// The record that is being read, and making a node from it.
#include "record.hpp"

#include <glib.h>

#include <cstring>
#include <string_view>

#include "zu_tovra/internal/keywords.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr::loader {

static bool make_buffers(tvr_parse_data &data) noexcept {
  return or_error(make_buffer(data.cmd_id, first_buffer_size), "Failed to allocate cmd_id") &&
         or_error(make_buffer(data.parent_cmd_id, first_buffer_size), "Failed to allocate parent_cmd_id") &&
         or_error(make_buffer(data.op, first_buffer_size), "Failed to allocate op") &&
         or_error(make_buffer(data.format, first_buffer_size), "Failed to allocate format");
}

owned<tvr_parse_data> new_parse_data(zu_do_error **error) noexcept {
  static constexpr char failure[] = "Failed to allocate parse data structure";
  auto data = or_error(make_owned<tvr_parse_data>(), failure);
  if (data != nullptr && make_buffers(*data)) return data;
  set_error(error, ZU_EXHAUSTED, failure);
  return nullptr;
}

namespace {

using owned_node = unique<zu_tvr_node, zu_tvr_node_delete>;

owned_node make_noop(tvr_parse_data &) noexcept {
  return owned_node(zu_tvr_node_new_noop());
}

owned_node make_jump(tvr_parse_data &data) noexcept {
  return owned_node(zu_tvr_node_new_jump(data.format.chars.get()));
}

owned_node make_coll(tvr_parse_data &data) noexcept {
  owned_node node(zu_tvr_node_new_coll(data.uri.get(), data.query.get(), data.orderby.get(),
                                       data.location_scheme.get(), data.group));
  if (node != nullptr) (void)data.uri.release();
  return node;
}

owned_node make_crudx(tvr_parse_data &data) noexcept {
  owned_node node(zu_tvr_node_new_crudx(data.uri.get()));
  if (node != nullptr) (void)data.uri.release();
  return node;
}

owned_node make_print(tvr_parse_data &data) noexcept {
  owned_node node(zu_tvr_node_new_print(data.format.chars.get(), data.props_map.get(), data.newline,
                                        data.cond.get(), data.eval_props.get()));
  if (node != nullptr) (void)data.props_map.release();
  return node;
}

owned_node make_iter(tvr_parse_data &data) noexcept {
  return owned_node(zu_tvr_node_new_iter(data.location_scheme.get()));
}

enum class need { nothing, uri, location_scheme };

struct op_entry {
  const char *op;
  need needs;
  owned_node (*make)(tvr_parse_data &) noexcept;
};

constexpr op_entry ops[] = {
    {"", need::nothing, make_noop},
    {"no_op", need::nothing, make_noop},
    {"push_mode", need::nothing, make_jump},
    {"get_collection", need::uri, make_coll},
    {"get_one", need::uri, make_crudx},
    {"print_if", need::nothing, make_print},
    {"iter", need::location_scheme, make_iter},
};

// The table that is shared with the tools has the same names in the same order.
static_assert([] {
  for (size_t i = 0; i < std::size(tvr::ops); ++i) {
    if (std::string_view(ops[i + 1].op) != tvr::ops[i]) return false;
  }
  return std::size(ops) == std::size(tvr::ops) + 1;
}());

const op_entry *find_op(const char *op) noexcept {
  for (const op_entry &entry : ops) {
    if (std::strcmp(entry.op, op) == 0) return &entry;
  }
  return nullptr;
}

bool make_node(tvr_parse_data &data, zu_do_error **error, owned_node *node) noexcept {
  const op_entry *entry = find_op(data.op.chars.get());
  if (entry == nullptr) return refuse(error, "Invalid Op in node: ", data.op.chars.get());
  if (entry->needs == need::uri && data.uri == nullptr) {
    return refuse(error, "Missing Uri in node: ", data.cmd_id.chars.get());
  }
  if (entry->needs == need::location_scheme && data.location_scheme == nullptr) {
    return refuse(error, "Missing LocationScheme in node: ", data.cmd_id.chars.get());
  }
  *node = entry->make(data);
  return *node != nullptr || exhausted(error, "Failed to allocate TOVRA node");
}

bool add_to_tree(parse_context &parse, owned_node node) noexcept {
  const tvr_parse_data &data = *parse.data;
  const char *id = data.cmd_id.chars.get();
  node->file = share_file_name(parse.shared_file.get());
  node->line = data.cmd_line;
  if (!parse.tree->add_node(parse.tree, node.get(), id, data.parent_cmd_id.chars.get())) {
    return refuse(parse.error, "Failed to add node to tree: ", id);
  }
  (void)node.release();
  return true;
}

const zu_tvr_node *find_namesake(const parse_context &parse) noexcept {
  if (parse.tree->nodes == nullptr) return nullptr;
  return static_cast<zu_tvr_node *>(g_hash_table_lookup(parse.tree->nodes, parse.data->cmd_id.chars.get()));
}

// Reports a refused record and continues with the next one. The place is the "Op:" line when the op is
// unknown, else the "Cmd:" line. A record that misses a line which was refused gets no second report.
bool go_on_without_record(parse_context &parse, bool made) noexcept {
  const tvr_parse_data &data = *parse.data;
  const op_entry *op = find_op(data.op.chars.get());
  const bool misses = !made && op != nullptr && zu_do_error_get_code(*parse.error) == ZU_FAILED;
  if (misses && data.lost_line && parse.load.tell != nullptr) {
    const error_object told(std::exchange(*parse.error, nullptr)); // the missing line has been reported
    return true;
  }
  zu_tvr_diagnostic fault{};
  fault.kind = ZU_TVR_FAULT_RECORD;
  fault.file = parse.file;
  fault.line = op == nullptr && data.op_line != 0 ? data.op_line : data.cmd_line;
  fault.node_id = data.cmd_id.chars.get();
  const zu_tvr_node *namesake = made ? find_namesake(parse) : nullptr;
  if (namesake != nullptr) {
    fault.kind = ZU_TVR_FAULT_DUPLICATE;
    fault.other_id = namesake->id;
    fault.other_file = zu_tvr_node_file(namesake);
    fault.other_line = namesake->line;
  }
  return tell_fault(parse.load, fault);
}

} // namespace

bool complete_record(parse_context &parse) noexcept {
  tvr_parse_data &data = *parse.data;
  if (*data.cmd_id.chars.get() == '\0') return true;

  owned_node node;
  const bool made = make_node(data, parse.error, &node);
  const bool added = made && add_to_tree(parse, std::move(node));
  const bool goes_on = added || go_on_without_record(parse, made);
  static_cast<record_lines &>(data) = {};
  data.cmd_id.chars.get()[0] = '\0';
  data.parent_cmd_id.chars.get()[0] = '\0';
  return goes_on;
}

} // namespace tvr::loader
