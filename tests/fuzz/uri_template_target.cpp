// URI template text: parsed, and resolved over records in scope.
#include "render/find_record.hpp"

#include "fuzz.hpp"

namespace {

struct scope_record {
  const char *uri, *collection, *key, *value;
};
constexpr scope_record records[] = {
    {"/a/b;k=1", "/a?b", "k", "1"},       {"/a/b;k=x%20y/c;n=2", "/a/b;k=x%20y?c", "n", "2"},
    {"/a/b;k=x%20y", "/a?b", "k", "x y"}, {"//l;loc=1/a/d;k=%2F", "//l;loc=1/a?d", "k", "/"},
    {"//l;loc=1", "//?l", "loc", "1"},    {"/a/b;k=x%20y/c;n=", "/a/b;k=x%20y?c", "n", ""},
    {"/e;k=1", "/?e", "k", "\x01"},
};
constexpr scope_record groups[] = {{"/a/g;k=7", "/a/g", "k", "7"}, {"/g;k=8", "/?g", "k", "8"}};

int ignore_error(void *, int32_t, const char *) {
  return 0;
}
bool ignore_text(void *, const char *) {
  return true;
}

fuzz::own_record made(const scope_record &given) {
  fuzz::own_record record(zu_do_properties_new());
  const fuzz::own_uri uri(zu_do_uri_new(given.uri));
  const fuzz::own_uri collection(zu_do_uri_new(given.collection));
  zu_do_properties_set_mr_uri(record.get(), ZU_DO_NAME_URI, uri.get());
  zu_do_properties_set_coll_uri(record.get(), ZU_DO_NAME_COLL_URI, collection.get());
  zu_do_properties_set_string(record.get(), given.key, given.value);
  return record;
}

using own_walk = fuzz::own<zu_tvr_walk_ctx, zu_tvr_walk_ctx_delete>;

own_walk walk_in_scope() {
  static zu_data_ifc_ops operations = {nullptr, [](zu_data_ifc *) { return 0; },
                                       [](zu_data_ifc *) { return 0; }, nullptr, nullptr};
  static zu_data_ifc data = {&operations};
  own_walk walk(
      zu_tvr_walk_ctx_new(&data, nullptr, nullptr, 0, 0, 0, 0, nullptr, nullptr, ignore_error, ignore_text));
  for (const auto &one : records) zu_tvr_push_props_to_cache(walk.get(), made(one).get(), 0, 0);
  for (const auto &one : groups) zu_tvr_push_props_group_to_cache(walk.get(), made(one).get(), 0);
  return walk;
}

std::string text_of(zu_do_uri *uri) {
  return fuzz::or_none(zu_do_uri_get_uri_str(uri));
}

// What a walk makes of the template: the record that it names, and its URI.
std::string read_by(zu_tvr_uri *uri, zu_tvr_walk_ctx *walk, int level) {
  const fuzz::traces seen(level);
  const std::string resolved = text_of(fuzz::own_uri(uri->resolve(uri, walk)).get());
  std::string found[2]; // the second time it may be remembered
  for (std::string &one : found) {
    const tvr::found_record got = tvr::find_record(uri, walk);
    one = text_of(zu_do_properties_get_mr_uri(got.record, ZU_DO_NAME_URI, nullptr));
    if (got.record != nullptr) fuzz::same("a template's URI and that of what it finds", resolved, got.uri);
  }
  fuzz::same("a record found twice", found[0], found[1]);
  return found[0] + " " + resolved;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string text(reinterpret_cast<const char *>(data), size);
  {
    const fuzz::balanced_memory balanced;
    const fuzz::traces seen(7);
    const fuzz::own_template uri(zu_tvr_uri_new(text.c_str()));
    fuzz::check(!uri == seen.text.starts_with("(ERR): "), "what is refused is traced, nothing else", text);
    if (!uri) return 0;
  }
  const fuzz::own_template uri(zu_tvr_uri_new(text.c_str()));
  const own_walk traced = walk_in_scope(), silent = walk_in_scope();
  fuzz::same("with and without traces", read_by(uri.get(), traced.get(), 7),
             read_by(uri.get(), silent.get(), 0));
  return 0;
}
