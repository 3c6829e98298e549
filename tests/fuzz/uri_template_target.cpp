// URI template text: parsed, and resolved over records in scope by plain and by quick steps.
#include "render/find_record.hpp"
#include "render/uri_text.hpp"

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

// What a walk makes of the template: its URI and the record that it names; and the errors it traces.
struct reading {
  std::string resolved, found, traced;
};

reading read_by(zu_tvr_uri *uri, zu_tvr_walk_ctx *walk, int level) {
  const fuzz::traces seen(level);
  reading got;
  got.resolved = text_of(fuzz::own_uri(uri->resolve(uri, walk)).get());
  for (int i = 0; i < 2; ++i) { // the second time it may be remembered
    tvr::record_finder finder(uri, walk);
    zu_do_properties *record = finder.find();
    got.found += text_of(zu_do_properties_get_mr_uri(record, ZU_DO_NAME_URI, nullptr));
    if (record != nullptr) got.found += " " + fuzz::or_none(finder.uri_text());
  }
  const auto text = tvr::resolve_to_text(uri, walk);
  if (text.text != nullptr) {
    const std::string copy(text.text, text.length);
    const fuzz::own_uri made_of_it(zu_do_uri_new_l(copy.data(), copy.size()));
    fuzz::same("a resolved text and its URI", text.direct ? copy : text_of(made_of_it.get()), got.resolved);
  }
  fuzz::check(text.text != nullptr || got.resolved == "(none)", "what resolves has a text");
  got.traced = seen.text;
  return got;
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
  const own_walk plain_walk = walk_in_scope();
  const reading plain = read_by(uri.get(), plain_walk.get(), 7);
  for (const int level : {4, 0}) {
    const own_walk quick_walk = walk_in_scope();
    const reading quick = read_by(uri.get(), quick_walk.get(), level);
    fuzz::same("the URI", plain.resolved, quick.resolved);
    fuzz::same("the record", plain.found, quick.found);
    if (level != 0) fuzz::same("errors traced", plain.traced, quick.traced);
  }
  return 0;
}
