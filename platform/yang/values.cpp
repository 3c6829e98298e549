// Converts values of YANG's types to values of records, and writes their declarations in classes.
#include <algorithm>
#include <charconv>
#include <new>
#include <set>

#include "infra/text.hpp"
#include "yang/schema.hpp"
#include "yang/typedefs.hpp"

namespace zu_yang {

namespace {

enum class kind { any, text, number, boolean };
constexpr const char *kind_names[] = {"", "text", "number", "boolean"};

// With at most this number of digits a double is displayed
// as in YANG; with more it may be displayed as 1e-04.
constexpr uint8_t most_fraction_digits = 3;
constexpr auto most_digits = 15;

kind kind_of(const lysc_type *type) {
  switch (type->basetype) {
  case LY_TYPE_BOOL:
  case LY_TYPE_EMPTY:
    return kind::boolean;
  case LY_TYPE_UINT8:
  case LY_TYPE_UINT16:
  case LY_TYPE_UINT32:
  case LY_TYPE_UINT64:
  case LY_TYPE_INT8:
  case LY_TYPE_INT16:
  case LY_TYPE_INT32:
  case LY_TYPE_INT64:
    return kind::number;
  case LY_TYPE_DEC64:
    return reinterpret_cast<const lysc_type_dec *>(type)->fraction_digits <= most_fraction_digits
               ? kind::number
               : kind::text;
  case LY_TYPE_LEAFREF:
    return kind_of(reinterpret_cast<const lysc_type_leafref *>(type)->realtype);
  case LY_TYPE_UNION: {
    const auto types = items(reinterpret_cast<const lysc_type_union *>(type)->types);
    const kind first = kind_of(types.front());
    const auto same = [first](const lysc_type *each) { return kind_of(each) == first; };
    return std::all_of(types.begin(), types.end(), same) ? first : kind::any;
  }
  default:
    return kind::text;
  }
}

void put_list(std::string &json, const std::set<std::string> &words) {
  const char *before = "[";
  for (const std::string &each : words) {
    json += before;
    infra::put_quoted(json, each);
    before = ",";
  }
  json += ']';
}

const lyd_value &resolved(const lyd_value &value) {
  return value.realtype->basetype == LY_TYPE_UNION ? resolved(value.subvalue->value) : value;
}

using identities = std::set<const lysc_ident *>;

void add_derived(const lysc_ident *base, identities &into) {
  for (const lysc_ident *each : items(base->derived)) {
    if (into.insert(each).second) add_derived(each, into);
  }
}

// What a value may be: what is derived from every base, maybe by way of a module that is only imported.
identities allowed_by(const lysc_type_identityref *type) {
  identities allowed;
  for (const lysc_ident *base : items(type->bases)) {
    identities derived;
    add_derived(base, derived);
    const bool is_first = base == type->bases[0];
    std::erase_if(derived, [&](const lysc_ident *each) {
      return each->module->implemented == 0 || lys_identity_iffeature_value(each) != LY_SUCCESS ||
             (!is_first && !allowed.contains(each));
    });
    allowed = std::move(derived);
  }
  return allowed;
}

} // namespace

bool is_of_one_kind(const lysc_type *type) {
  return kind_of(type) != kind::any;
}

std::string_view schema::canonical(const lyd_value &value) const {
  const char *text = lyd_value_get_canonical(context(), &value);
  if (text == nullptr) throw std::bad_alloc();
  return text;
}

order_key schema::order_of(const lyd_value &given) const {
  const lyd_value &value = resolved(given);
  const std::string_view text = canonical(value);
  // A decimal64 is in order by size even where it is a text, as it has many digits.
  const bool is_number = kind_of(value.realtype) == kind::number || value.realtype->basetype == LY_TYPE_DEC64;
  if (!is_number) return {true, 0, text};
  long double number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return {false, number, {}};
}

void schema::note_identities(const lysc_type *type) {
  if (type->basetype == LY_TYPE_LEAFREF) {
    note_identities(reinterpret_cast<const lysc_type_leafref *>(type)->realtype);
  } else if (type->basetype == LY_TYPE_UNION) {
    for (const lysc_type *each : items(reinterpret_cast<const lysc_type_union *>(type)->types)) {
      note_identities(each);
    }
  } else if (type->basetype == LY_TYPE_IDENT && !identities_.contains(type)) {
    const identities allowed = allowed_by(reinterpret_cast<const lysc_type_identityref *>(type));
    std::map<std::string_view, size_t> count;
    for (const lysc_ident *each : allowed) ++count[each->name];
    identity_names &names = identities_[type];
    for (const lysc_ident *each : allowed) {
      names[each] = (count[each->name] == 1 ? "" : std::string(each->module->name) + ":") + each->name;
    }
  }
}

schema::shown schema::show(const leaf &of, const lyd_value &given) const {
  const lyd_value &value = resolved(given);
  const std::string_view text = canonical(value);
  const LY_DATA_TYPE base = value.realtype->basetype;
  if (base == LY_TYPE_EMPTY) return {"true", false};
  if (base == LY_TYPE_IDENT) return {identities_.at(value.realtype).at(value.ident), true};
  if (kind_of(value.realtype) == kind::text) return {text, true};
  if (base != LY_TYPE_DEC64) return {text, false};
  if (std::count_if(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }) > most_digits) {
    throw refusal{path_of(of.node) + ": " + (of.secret ? "a secret" : std::string(text)) +
                  " has more digits than a number keeps"};
  }
  return {text.ends_with(".0") ? text.substr(0, text.size() - 2) : text, false};
}

void schema::put_value(std::string &json, const leaf &of, const lyd_value &value) const {
  const auto [text, is_text] = show(of, value);
  if (is_text) return infra::put_quoted(json, text);
  json += text;
}

void schema::put_values(std::string &json, const leaf &of, std::vector<const lyd_value *> values) const {
  const auto before = [this](const lyd_value *a, const lyd_value *b) { return order_of(*a) < order_of(*b); };
  if (of.in_order_of_values()) std::stable_sort(values.begin(), values.end(), before);
  std::string joined;
  for (const lyd_value *each : values) {
    if (each != values.front()) joined += of.secret ? ' ' : ',';
    if (of.secret) {
      joined += show(of, *each).text;
    } else {
      put_value(joined, of, *each);
    }
  }
  // A secret must not be part of an array.
  if (of.secret) return infra::put_quoted(json, joined);
  json += "[" + joined + "]";
}

std::string schema::declaration(const leaf &of) const {
  const lysc_type *type = of.value_type();
  std::string json;
  const auto member = [&json](const char *name) -> std::string & {
    return json.append(json.empty() ? "{\"" : ",\"").append(name).append("\":");
  };
  if (!of.type.empty()) infra::put_quoted(member("type"), of.type);
  const bool array = of.is_list() && !of.secret;
  const kind values = of.is_list() ? kind::text : kind_of(type);
  if (array) {
    member("kind") += "\"array\"";
  } else if (values != kind::any) {
    infra::put_quoted(member("kind"), kind_names[static_cast<size_t>(values)]);
  }
  while (type->basetype == LY_TYPE_LEAFREF)
    type = reinterpret_cast<const lysc_type_leafref *>(type)->realtype;
  std::set<std::string> allowed;
  if (type->basetype == LY_TYPE_ENUM && !of.secret) {
    for (const auto &each : items(reinterpret_cast<const lysc_type_enum *>(type)->enums))
      allowed.insert(each.name);
  } else if (type->basetype == LY_TYPE_IDENT && !of.secret) {
    for (const auto &[identity, name] : identities_.at(type)) allowed.insert(name);
  }
  if (!allowed.empty()) put_list(member("enum"), allowed);
  if (of.has_default) {
    std::string &at = member("default");
    if (of.is_list()) {
      const auto all = items(reinterpret_cast<const lysc_node_leaflist *>(of.node)->dflts);
      put_values(at, of, {all.begin(), all.end()});
    } else {
      put_value(at, of, *reinterpret_cast<const lysc_node_leaf *>(of.node)->dflt);
    }
  }
  return json.empty() ? "{}" : json + "}";
}

} // namespace zu_yang
