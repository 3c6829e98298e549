// The record under construction and what makes a node of it.
#include "record.hpp"

#include <cstring>
#include <new>

#include "zu_tovra/internal/report.hpp"

namespace tvr::loader {

void delete_parse_data(tvr_parse_data *data) noexcept {
  const block<tvr_parse_data> room(data);
  data->~tvr_parse_data();
}

static const char *make_buffers(tvr_parse_data &data) noexcept {
  if (!make_buffer(data.cmd_id, first_buffer_size)) return "Failed to allocate cmd_id";
  if (!make_buffer(data.parent_cmd_id, first_buffer_size)) return "Failed to allocate parent_cmd_id";
  if (!make_buffer(data.op, first_buffer_size)) return "Failed to allocate op";
  if (!make_buffer(data.format, first_buffer_size)) return "Failed to allocate format";
  return nullptr;
}

owned_parse_data new_parse_data(zu_do_error **error) noexcept {
  static constexpr const char *failure = "Failed to allocate parse data structure";
  void *room = make_room<tvr_parse_data>(1).release();
  owned_parse_data data(room != nullptr ? new (room) tvr_parse_data : nullptr);
  const char *missing = data != nullptr ? make_buffers(*data) : failure;
  if (missing == nullptr) return data;
  TVR_ERROR("%s", missing);
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

const op_entry *find_op(const char *op) noexcept {
  for (const op_entry &entry : ops) {
    if (std::strcmp(entry.op, op) == 0) return &entry;
  }
  return nullptr;
}

owned_node make_node(tvr_parse_data &data, zu_do_error **error) noexcept {
  const op_entry *entry = find_op(data.op.chars.get());
  if (entry == nullptr) {
    refuse("Invalid Op in node: ", data.op.chars.get(), ZU_FAILED, error);
    return nullptr;
  }
  if (entry->needs == need::uri && data.uri == nullptr) {
    refuse("Missing Uri in node: ", data.cmd_id.chars.get(), ZU_FAILED, error);
    return nullptr;
  }
  if (entry->needs == need::location_scheme && data.location_scheme == nullptr) {
    refuse("Missing LocationScheme in node: ", data.cmd_id.chars.get(), ZU_FAILED, error);
    return nullptr;
  }
  owned_node node = entry->make(data);
  if (node == nullptr) refuse("Failed to allocate TOVRA node", nullptr, ZU_EXHAUSTED, error);
  return node;
}

void start_record(tvr_parse_data &data) noexcept {
  data.cmd_id.chars.get()[0] = '\0';
  data.parent_cmd_id.chars.get()[0] = '\0';
  data.format_slots = 0;
  data.newline = 0;
  data.uri.reset();
  data.query.reset();
  data.props_map.reset();
  data.cond.reset();
  data.eval_props.reset();
  data.orderby.reset();
  data.location_scheme.reset();
  data.group = 0;
}

} // namespace

bool complete_record(parse_context &parse) noexcept {
  tvr_parse_data &data = *parse.data;
  const char *id = data.cmd_id.chars.get();
  if (id[0] == '\0') return true;

  owned_node node = make_node(data, parse.error);
  if (node == nullptr) return false;
  const bool added = parse.tree->add_node(parse.tree, node.get(), id, data.parent_cmd_id.chars.get());
  if (added) {
    (void)node.release();
  } else {
    refuse("Failed to add node to tree: ", id, ZU_FAILED, parse.error);
  }
  start_record(data);
  return added;
}

} // namespace tvr::loader
