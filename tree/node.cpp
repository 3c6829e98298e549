// Template nodes: construction, deletion, linking to parent and siblings, the dump of one node.
#include "node.hpp"

#include <atomic>

#include "walk.hpp"
#include "zu_tovra/coll.h"
#include "zu_tovra/crudx.h"
#include "zu_tovra/internal/file_name.hpp"
#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/iter.h"
#include "zu_tovra/jump.h"
#include "zu_tovra/print.h"

namespace tvr {

zu_tvr_node *new_node(uint32_t type) noexcept {
  auto node = or_error(make_zeroed<zu_tvr_node>(), "Failed to allocate tovra node");
  if (node == nullptr) return nullptr;
  node->type = type;
  node->walk = tvr_node_walk;
  TVR_DEBUG("node: creating new node %p of type %d", static_cast<void *>(node.get()), type);
  return node.release();
}

} // namespace tvr

namespace {

using tvr::string_buffer;
using owned_node = tvr::unique<zu_tvr_node, zu_tvr_node_delete>;

// A template node with its number, by which dumps name it:
// unlike its address, the number is the same in each run.
owned_node new_template_node(uint32_t type) noexcept {
  static std::atomic<uint64_t> ordinals{0};
  owned_node node(tvr::new_node(type));
  if (node != nullptr) node->ordinal = ordinals.fetch_add(1, std::memory_order_relaxed) + 1;
  return node;
}

// A template node with the data record that `make_data` gives.
template <class MakeData>
zu_tvr_node *new_node_with(uint32_t type, MakeData make_data) noexcept {
  auto node = new_template_node(type);
  if (node == nullptr) return nullptr;
  node->data = make_data();
  if (node->data != nullptr) return node.release();
  // The constructors of the other data records trace this message themselves.
  if (type == TVR_NODE_JUMP || type == TVR_NODE_ITER) TVR_ERROR("Failed to allocate tovra node");
  return nullptr;
}

// The last node of the chain of siblings, searched from a node near its end.
zu_tvr_node *end_of_chain(zu_tvr_node *node) noexcept {
  while (node->next_sibling != nullptr) node = node->next_sibling;
  return node;
}

} // namespace

zu_tvr_node *zu_tvr_node_new_noop(void) noexcept {
  return new_template_node(TVR_NODE_NOOP).release();
}

zu_tvr_node *zu_tvr_node_new_jump(const char *dest_id) noexcept {
  return new_node_with(TVR_NODE_JUMP, [&] { return zu_tvr_jump_data_new(dest_id); });
}

zu_tvr_node *zu_tvr_node_new_coll(zu_tvr_uri *coll_uri, zu_do_nvlist *query, zu_do_nlist *orderby,
                                  const char *location_scheme, uint8_t group) noexcept {
  TVR_ASSERT(coll_uri);
  return new_node_with(
      TVR_NODE_COLL, [&] { return zu_tvr_coll_data_new(coll_uri, query, orderby, location_scheme, group); });
}

zu_tvr_node *zu_tvr_node_new_crudx(zu_tvr_uri *uri) noexcept {
  return new_node_with(TVR_NODE_CRUDX, [&] { return zu_tvr_crudx_data_new(uri); });
}

zu_tvr_node *zu_tvr_node_new_iter(const char *location_scheme) noexcept {
  return new_node_with(TVR_NODE_ITER, [&] { return zu_tvr_iter_data_new(location_scheme); });
}

zu_tvr_node *zu_tvr_node_new_print(const char *format, zu_tvr_props_map *props_map, uint8_t newline,
                                   const char *cond, zu_do_properties *eval_props) noexcept {
  TVR_ASSERT(format);
  return new_node_with(TVR_NODE_PRINT,
                       [&] { return zu_tvr_print_data_new(format, props_map, newline, cond, eval_props); });
}

void zu_tvr_node_delete(zu_tvr_node *node) noexcept {
  TVR_ASSERT(node);
  const tvr::block<zu_tvr_node> owner(node);
  tvr::drop_file_name(node->file);
  switch (node->type) {
  case TVR_NODE_JUMP:
    zu_tvr_jump_data_delete(static_cast<zu_tvr_jump_data *>(node->data));
    break;
  case TVR_NODE_COLL:
    zu_tvr_coll_data_delete(static_cast<zu_tvr_coll_data *>(node->data));
    zu_tvr_coll_scratch_data_delete(static_cast<zu_tvr_coll_scratch_data *>(node->scratch));
    break;
  case TVR_NODE_CRUDX:
    zu_tvr_crudx_data_delete(static_cast<zu_tvr_crudx_data *>(node->data));
    break;
  case TVR_NODE_ITER:
    zu_tvr_iter_data_delete(static_cast<zu_tvr_iter_data *>(node->data));
    zu_tvr_iter_scratch_data_delete(static_cast<zu_tvr_iter_scratch_data *>(node->scratch));
    break;
  case TVR_NODE_PRINT:
    zu_tvr_print_data_delete(static_cast<zu_tvr_print_data *>(node->data));
    zu_tvr_print_scratch_data_delete(static_cast<zu_tvr_print_scratch_data *>(node->scratch));
    break;
  default:
    break;
  }
}

void zu_tvr_node_connect_parent(zu_tvr_node *parent, zu_tvr_node *child) noexcept {
  TVR_ASSERT(parent);
  TVR_ASSERT(child);
  if (child->parent != nullptr) {
    TVR_ERROR("Attempting to reparent tovra node");
    return;
  }
  TVR_DEBUG("node: connecting %p (parent) to %p (child)", static_cast<void *>(parent),
            static_cast<void *>(child));
  if (parent->first_child == nullptr) {
    parent->first_child = child;
  } else {
    zu_tvr_node *last = parent->last_child != nullptr ? parent->last_child : parent->first_child;
    end_of_chain(last)->next_sibling = child;
  }
  for (zu_tvr_node *node = child; node != nullptr; node = node->next_sibling) {
    node->parent = parent;
    parent->last_child = node;
  }
}

void zu_tvr_node_connect_siblings(zu_tvr_node *oldest_node, zu_tvr_node *new_node) noexcept {
  TVR_ASSERT(oldest_node);
  TVR_ASSERT(new_node);
  TVR_DEBUG("node: connecting siblings %p and %p", static_cast<void *>(oldest_node),
            static_cast<void *>(new_node));
  zu_tvr_node *near_end = oldest_node->chain_end != nullptr ? oldest_node->chain_end : oldest_node;
  end_of_chain(near_end)->next_sibling = new_node;
  oldest_node->chain_end = new_node;
}

const char *zu_tvr_node_id(const zu_tvr_node *node) noexcept {
  TVR_ASSERT(node);
  return node->id;
}

const char *zu_tvr_node_file(const zu_tvr_node *node) noexcept {
  TVR_ASSERT(node);
  return tvr::file_name_text(node->file);
}

uint32_t zu_tvr_node_line(const zu_tvr_node *node) noexcept {
  TVR_ASSERT(node);
  return node->line;
}

void zu_tvr_node_print(FILE *stream, uint32_t indentation, zu_tvr_node *node) noexcept {
  TVR_ASSERT(stream);
  TVR_ASSERT(node);
  const auto buffer = tvr::or_error(string_buffer(zu_do_strbuf_new()), "Failed to allocate buffer");
  if (buffer == nullptr) return;
  zu_do_strbuf_add_char(buffer.get(), '\n');
  zu_do_strbuf_add_tab(buffer.get(), indentation);
  zu_do_strbuf_add_string(buffer.get(), "Node ");
  zu_do_strbuf_add_long(buffer.get(), tvr::node_number(node));
  zu_do_strbuf_add_string(buffer.get(), " Type: ");
  zu_do_strbuf_add_long(buffer.get(), node->type);
  zu_do_strbuf_add_char(buffer.get(), '\n');
  if (node->type == TVR_NODE_JUMP) {
    zu_do_strbuf_add_tab(buffer.get(), indentation + 1);
    zu_do_strbuf_add_string(buffer.get(), "Destination: ");
    zu_do_strbuf_add_long(buffer.get(), tvr::node_number(static_cast<zu_tvr_jump_data *>(node->data)->dest));
    zu_do_strbuf_add_char(buffer.get(), '\n');
  }
  zu_do_strbuf_print_fp(buffer.get(), stream);

  switch (node->type) {
  case TVR_NODE_COLL:
    zu_tvr_coll_data_print(stream, indentation + 1, static_cast<zu_tvr_coll_data *>(node->data));
    break;
  case TVR_NODE_CRUDX:
    zu_tvr_crudx_data_print(stream, indentation + 1, static_cast<zu_tvr_crudx_data *>(node->data));
    break;
  case TVR_NODE_PRINT:
    zu_tvr_print_data_print(stream, indentation + 1, static_cast<zu_tvr_print_data *>(node->data));
    break;
  default:
    break;
  }
}
