// URIs: making, counting and comparing them, and their parents.
#include "zuapi/objects.hpp"
#include "zuapi/shortcuts.hpp"
#include "zuapi/uri_text.hpp"

using namespace zuapi;

namespace {

void start(zu_do_uri *uri, const uri_layout &layout) {
  static_cast<uri_layout &>(*uri) = layout;
  uri->count = 1;
  uri->made_parent = nullptr;
  uri->made_segments = nullptr;
}

void place(zu_do_uri *uri, const uri_scan &scan) {
  start(uri, scan);
  uri_write_text(uri->text(), scan);
  uri->hash = hash_text(uri->text(), uri->length);
}

zu_do_uri *make(const uri_scan &scan) {
  auto *uri = allocate<zu_do_uri>(scan.length + size_t{1});
  if (uri != nullptr) place(uri, scan);
  return uri;
}

zu_do_uri *make(std::string_view text) {
  uri_scan scan;
  return uri_scan_text(text.data(), text.size(), &scan) == nullptr ? make(scan) : nullptr;
}

// A URI with the first `kept` bytes of `like`, followed by the tail (at most two parts).
zu_do_uri *make_longer(const zu_do_uri *like, uint32_t kept, std::string_view tail, std::string_view more) {
  const size_t length = kept + tail.size() + more.size();
  if (length > longest_uri) return nullptr;
  auto *uri = allocate<zu_do_uri>(length + 1);
  if (uri == nullptr) return nullptr;
  start(uri, *like);
  uri->flags &= ~(uri_frozen | uri_given_location);
  uri->coll_type = 0;
  uri->length = static_cast<uint32_t>(length);
  uri->end = kept;
  memcpy(uri->text(), like->text(), kept);
  put_text(uri->text() + kept, tail);
  put_text(uri->text() + kept + tail.size(), more);
  uri->hash = hash_text(uri->text(), uri->length);
  return uri;
}

// The URI "/" whose segment 0 is the location that relative URIs are in.
zu_do_uri *make_given_root() {
  zu_do_uri *root = make("/");
  if (root == nullptr) return nullptr;
  root->flags |= uri_given_location;
  root->segment_count = 1;
  return root;
}

bool is_query_name(std::string_view name) {
  for (const char c : name) {
    if (!byte_is(c, byte_in_name)) return false;
  }
  return !name.empty();
}

} // namespace

namespace zuapi {

zu_do_uri *uri_frozen_of(const uri_scan &scan, arena &memory) {
  auto *uri = new (memory.take(sizeof(zu_do_uri) + scan.length + 1)) zu_do_uri;
  place(uri, scan);
  uri->flags |= uri_frozen;
  return uri;
}

zu_do_uri *uri_frozen_of(std::string_view text, arena &memory, const char **reason) {
  uri_scan scan;
  *reason = uri_scan_text(text.data(), text.size(), &scan);
  return *reason == nullptr ? uri_frozen_of(scan, memory) : nullptr;
}

void uri_drop(zu_do_uri *uri) {
  zu_do_uri_deref(uri->made_parent.load(std::memory_order_acquire));
  uri_segments_free(uri->made_segments.load(std::memory_order_acquire));
}

} // namespace zuapi

zu_do_uri *zu_do_uri_new(const char *text) {
  return text == nullptr ? nullptr : make(std::string_view(text));
}

zu_do_uri *zu_do_uri_new_l(const char *text, size_t length) {
  return text == nullptr ? nullptr : make(std::string_view(text, length));
}

zu_do_uri *zu_do_uri_parse(const char *text, size_t length, const char **reason) {
  uri_scan scan;
  *reason = uri_scan_text(text, length, &scan);
  if (*reason != nullptr) return nullptr;
  zu_do_uri *uri = make(scan);
  if (uri == nullptr) *reason = "memory exhausted";
  return uri;
}

zu_do_uri *zu_do_uri_new_relative(const char *text) {
  uri_scan scan;
  if (text == nullptr || uri_scan_text(text, strlen(text), &scan) != nullptr) return nullptr;
  if ((scan.flags & uri_absolute) == 0) return make(scan);
  // The text after the location segment; without a leading '/' it is read as if it had one.
  const size_t rest = scan.source.find_first_of("/?", 2);
  return make(rest == scan.source.npos ? "/" : scan.source.substr(rest));
}

zu_do_uri *zu_do_uri_new_absolute_root_from_uri(zu_do_uri *uri) {
  if (uri == nullptr) return nullptr;
  if (!uri->is_absolute()) return make_given_root();
  if (uri->segment_count == 0) return nullptr;
  zu_do_uri *location = make(uri->view().substr(0, uri->first_end));
  if (location == nullptr) return nullptr;
  zu_do_uri *root = make_longer(location, location->length, "/", "");
  zu_do_uri_deref(location);
  if (root == nullptr) return nullptr;
  root->relative = root->first_end;
  root->flags |= uri_relative_ok;
  return root;
}

zu_do_uri *zu_do_uri_new_coll(zu_do_uri *parent, const char *name) {
  if (parent == nullptr || name == nullptr || parent->coll_type != 0 || !is_query_name(name)) return nullptr;
  if (parent->end != parent->length) return nullptr; // "//l/", an absolute root
  zu_do_uri *uri = make_longer(parent, parent->length, "?", name);
  if (uri == nullptr) return nullptr;
  uri->coll_type = 1;
  uri->parent = uri->end;
  if ((parent->flags & uri_given_location) != 0) uri->segment_count = 0;
  if (parent->length == 2 && parent->is_absolute()) uri->flags |= uri_relative_ok; // "//?x"
  return uri;
}

zu_do_uri *zu_do_uri_ref(zu_do_uri *uri) {
  if (uri != nullptr && (uri->flags & uri_frozen) == 0) count_up(uri->count);
  return uri;
}

void zu_do_uri_deref(zu_do_uri *uri) {
  if (uri == nullptr || (uri->flags & uri_frozen) != 0 || !count_down(uri->count)) return;
  uri_drop(uri);
  release(uri);
}

const char *zu_do_uri_get_uri_str(zu_do_uri *uri) {
  return uri == nullptr ? nullptr : uri->text();
}

size_t zu_do_uri_get_len(zu_do_uri *uri) {
  return uri == nullptr ? 0 : uri->length;
}

bool zu_do_uri_equals(zu_do_uri *a, zu_do_uri *b) {
  if (a == b) return true;
  if (a == nullptr || b == nullptr) return false;
  return a->hash == b->hash && a->view() == b->view();
}

bool zu_do_uri_is_absolute(zu_do_uri *uri) {
  return uri != nullptr && uri->is_absolute();
}

bool zu_do_uri_is_coll_uri(zu_do_uri *uri) {
  return uri != nullptr && uri->coll_type != 0;
}

int32_t zu_do_uri_get_coll_type(zu_do_uri *uri) {
  return uri == nullptr ? 0 : uri->coll_type;
}

zu_do_uri *zu_do_uri_get_parent_uri(zu_do_uri *uri) {
  if (uri == nullptr || uri->parent == 0) return nullptr;
  zu_do_uri *parent = uri->made_parent.load(std::memory_order_acquire);
  if (parent != nullptr) return parent;
  zu_do_uri *made = make(uri->view().substr(0, uri->parent));
  if (made == nullptr) return nullptr;
  if (uri->made_parent.compare_exchange_strong(parent, made, std::memory_order_acq_rel)) return made;
  zu_do_uri_deref(made); // another thread was first
  return parent;
}

void zuapi::uri_parts_of(zu_do_uri *uri, zu_do_uri_parts *parts) {
  *parts = {};
  if (uri == nullptr) return;
  *parts = {uri->text(),    uri->length,
            uri->relative,  uri->parent,
            uri->name,      uri->name_end,
            uri->end,       (uri->flags & uri_relative_ok) != 0,
            uri->name != 0, (uri->flags & uri_keyed_below_first) != 0};
}

void zu_do_print_uri(FILE *stream, uint32_t indentation, zu_do_uri *uri) {
  for (uint32_t i = 0; i < indentation; ++i) fputc('\t', stream);
  fprintf(stream, "%s\n", uri == nullptr ? "(null)" : uri->text());
}
