// JSON values, one or two of them on a line each: their texts, and their order.
#include "fuzz.hpp"

namespace {

fuzz::own_value value_of(std::string_view json) {
  zu_do_error *error = nullptr;
  fuzz::own_value value(zu_do_value_from_json(json.data(), json.size(), &error));
  const fuzz::own_error held(error);
  fuzz::check(!value == (error != nullptr), "a refusal has an error", std::string(json));
  fuzz::check(value || !fuzz::or_none(zu_do_error_get_msg(error)).empty(), "an error has words");
  return value;
}

std::string display(zu_do_value *value) {
  const fuzz::own_buffer buffer(zu_do_strbuf_new());
  if (zu_do_value_to_strbuf(value, 0, buffer.get()) != 0) return "(none)";
  return std::string(zu_do_strbuf_to_string(buffer.get()), zu_do_strbuf_get_len(buffer.get()));
}

void check_texts(zu_do_value *value) {
  const std::string shown = display(value);
  char room[ZU_DO_VALUE_ROOM];
  size_t length = 0;
  const char *quick = zu_do_get_shortcuts()->display(value, room, &length);
  if (quick != nullptr) fuzz::same("the display text", shown, std::string(quick, length));
  fuzz::check(zu_do_value_equals(value, value) && zu_do_value_compare(value, value) == 0, "equals itself",
              shown);
  const fuzz::own_value other(zu_do_value_new_as(value, "Other", true));
  fuzz::check(zu_do_value_equals(value, other.get()), "a typedef does not count", shown);

  const fuzz::own_buffer key(zu_do_strbuf_new());
  if (zu_do_uri_value_to_keystr(value, key.get()) != 0) return;
  const fuzz::own_uri uri(zu_do_uri_new((std::string("/a;k=") + zu_do_strbuf_to_string(key.get())).c_str()));
  const char *text = zu_do_value_get_string(value, nullptr);
  if (!uri || text == nullptr) return;
  zu_do_nvlist *keys = zu_do_uri_segment_get_keys(zu_do_uri_get_segment_last(uri.get()));
  zu_do_iter at = {};
  zu_do_nvlist_iter(keys, &at);
  zu_do_value *decoded = zu_do_nvpair_get_value(zu_do_nvlist_get_next(keys, &at));
  fuzz::same("a text as a key", text, fuzz::or_none(zu_do_value_get_string(decoded, nullptr)));
}

int sign(int number) {
  return (number > 0) - (number < 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const fuzz::balanced_memory balanced;
  const std::string_view text(reinterpret_cast<const char *>(data), size);
  const size_t end = text.find('\n');
  const fuzz::own_value a = value_of(text.substr(0, end));
  const fuzz::own_value b = end != text.npos ? value_of(text.substr(end + 1)) : nullptr;
  if (!a) return 0;
  check_texts(a.get());
  const int order = zu_do_value_compare(a.get(), b.get());
  fuzz::check(sign(order) == -sign(zu_do_value_compare(b.get(), a.get())), "an order has two sides");
  const bool equal = zu_do_value_equals(a.get(), b.get());
  fuzz::check(equal == zu_do_value_equals(b.get(), a.get()), "equality has two sides");
  if (b && equal) fuzz::check(order == 0, "equals are of one rank", display(a.get()));
  return 0;
}
