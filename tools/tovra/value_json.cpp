// A value as JSON.
#include "value_json.hpp"

#include <string_view>

namespace tovra {

using nlohmann::ordered_json;

ordered_json value_json(zu_do_value *value) {
  const char *typedef_name = zu_do_value_get_typedef_name(value);
  if (typedef_name != nullptr && std::string_view(typedef_name) == "PasswordString") return "<removed>";
  switch (zu_do_value_get_type(value)) {
  case ZU_DO_TYPE_BOOL:
    return zu_do_value_get_bool(value, nullptr);
  case ZU_DO_TYPE_INT:
    return zu_do_value_get_int(value, nullptr);
  case ZU_DO_TYPE_UINT:
    return zu_do_value_get_uint(value, nullptr);
  case ZU_DO_TYPE_DOUBLE:
    return zu_do_value_get_double(value, nullptr);
  case ZU_DO_TYPE_STRING:
    return zu_do_value_get_string(value, nullptr);
  case ZU_DO_TYPE_MR_URI:
    return zu_do_uri_get_uri_str(zu_do_value_get_mr_uri(value, nullptr));
  case ZU_DO_TYPE_COLL_URI:
    return zu_do_uri_get_uri_str(zu_do_value_get_coll_uri(value, nullptr));
  case ZU_DO_TYPE_ARRAY: {
    ordered_json elements = ordered_json::array();
    zu_do_vlist *list = zu_do_value_get_array(value, nullptr);
    for (size_t i = 0; i < zu_do_vlist_get_len(list); ++i) {
      elements.push_back(value_json(zu_do_vlist_get_value(list, i)));
    }
    return elements;
  }
  default:
    return nullptr;
  }
}

std::string json_text(const ordered_json &value, int indentation) {
  std::string text = value.dump(indentation, ' ', false, replace_bad_utf8) + "\n";
  for (size_t at = text.find('\xc2'); at != text.npos; at = text.find('\xc2', at + 1)) {
    const auto next = static_cast<unsigned char>(text[at + 1]);
    if (next < 0xa0)
      text.replace(at, 2, {'\\', 'u', '0', '0', next < 0x90 ? '8' : '9', "0123456789abcdef"[next & 15]});
  }
  return text;
}

} // namespace tovra
