// The second walk over a data file: every record in its final shape and place.
#include "store/loader.hpp"

namespace store {

void loader::load() {
  read();
  build_index(data_, path_ids_.data());
}

void loader::read() {
  json::parser parser; // gone before the index takes its memory
  json::document document = parser.iterate(text_, length_, capacity_).value();
  if (*document.current_location().value() != '{') {
    refuse(document.current_location().value(), "the file must hold one object");
  }
  at_ = document.current_location().value();
  survey(members_of(document));
  const auto behind = document.current_location(); // an error at the end of the text
  if (behind.error() == simdjson::SUCCESS)
    refuse(behind.value_unsafe(), "text after the end of the document");
  paths_.finish(data_);
  data_.records = array<zu_do_vlist *>(path_ids_.size());
  json::object records = rewound_records(document);
  for (json::field field : records) {
    at_ = value_reader::start_of(field);
    const std::string_view uri = reader_.name(field);
    read_record(paths_[path_ids_[data_.record_count]], uri, field.value());
  }
  if (const std::optional<uint32_t> id = build_texts(data_)) refuse_duplicate(document, *id);
}

json::object loader::rewound_records(json::document &document) {
  document.rewind();
  for (json::field field : members_of(document)) {
    if (reader_.name(field) == "records") return field.value().get_object();
  }
  throw std::logic_error("the records are gone"); // the first walk has seen them
}

// The places of records are not kept: the one that is refused is looked for.
void loader::refuse_duplicate(json::document &document, uint32_t id) {
  const std::string message = "duplicate record " + in_quotes(data_.uri_of(id)->view());
  json::object records = rewound_records(document);
  for (json::field field : records) {
    if (id-- == 0) refuse(value_reader::start_of(field), message);
  }
  throw std::logic_error("a record is gone");
}

void loader::read_record(path_builder &path, std::string_view uri_text, json::value value) {
  const char *start = at_;
  zuapi::uri_scan scan;
  static_cast<void>(
      zuapi::uri_scan_text(uri_text.data(), uri_text.size(), &scan)); // the first walk checked it
  const zuapi::shape *form = path.form();
  void *block = data_.memory.take(zuapi::store_record_size(form->columns.length));
  zu_do_uri *uri = zuapi::uri_place_frozen(data_.memory.take(zuapi::uri_size(scan)), scan);
  record_ = zuapi::store_record_place(block, form, uri);
  data_.records[data_.record_count++] = &record_->row;
  check_location();

  const std::vector<zu_do_value> &cells = path.template_cells();
  std::copy(cells.begin(), cells.end(), record_->cells() + 1);
  given_at_.assign(form->columns.length, nullptr);
  uint32_t expected = 0;
  for (json::field field : members_of(value)) read_property(path, field, expected);
  at_ = start;
  add_keys(path);
}

void loader::check_location() const {
  constexpr size_t longest = 15;
  const zu_do_uri *uri = record_->uri;
  if ((uri->flags & zuapi::uri_absolute) == 0) return;
  const std::string_view segment = uri->view().substr(0, uri->first_end);
  auto at = static_cast<uint32_t>(std::min(segment.find(';'), segment.size()));
  zuapi::uri_key key;
  if (!zuapi::uri_next_key(segment, at, key)) return;
  std::string location(key.value.size(), '\0');
  if (zuapi::uri_decode_value(key.value, location.data()) > longest) {
    refuse(at_, "the location of " + in_quotes(uri->view()) + " is longer than 15 bytes");
  }
}

void loader::read_property(path_builder &path, json::field &field, uint32_t &expected) {
  const std::vector<property> &known = path.properties();
  at_ = value_reader::start_of(field);
  if (expected >= known.size() || !known[expected].plain || !is_named(field, known[expected].name)) {
    expected = path.find(property_name(field), expected);
  }
  const property &of = known[expected++];
  if (given_at_[of.slot] != nullptr) refuse(at_, "duplicate property " + in_quotes(of.name));
  given_at_[of.slot] = at_;
  zu_do_value &cell = record_->cells()[of.slot];
  cell = reader_.read(field.value(), of.type, 3);
  check_own_property(of.name, cell);
  mark_default(of, cell);
}

void loader::mark_default(const property &of, zu_do_value &cell) const {
  zu_do_value given = of.default_value;
  if (of.has_default && zu_do_value_equals(&cell, &given)) zuapi::cell_set_default(cell);
}

// The keys of the last segment are properties too.
void loader::add_keys(path_builder &path) {
  const zu_do_uri *uri = record_->uri;
  if (uri->segment_count == 0) return;
  uint32_t at = uri->name_end;
  uint32_t expected = 0;
  for (zuapi::uri_key key; zuapi::uri_next_key(uri->view(), at, key);) {
    const uint32_t index = path.find(key.name, expected);
    expected = index + 1;
    add_key(path.properties()[index], key.value);
  }
}

void loader::add_key(const property &of, std::string_view encoded) {
  char *text = data_.memory.take_text(encoded.size());
  const size_t length = zuapi::uri_decode_value(encoded, text);
  text[length] = '\0';
  zu_do_value &cell = record_->cells()[of.slot];
  if (given_at_[of.slot] != nullptr) {
    check_key(of, cell, {text, length});
    return;
  }
  cell = reader_.string_cell(text, length, of.type);
  mark_default(of, cell);
}

void loader::check_key(const property &of, zu_do_value &given, std::string_view key) const {
  char room[ZU_DO_VALUE_ROOM];
  size_t length = 0;
  std::string_view text;
  bool has_text = given.type == ZU_DO_TYPE_STRING;
  if (has_text) {
    text = given.text();
  } else if (given.type != ZU_DO_TYPE_ARRAY && !zu_do_value_is_null(&given)) {
    const char *shown = zu_do_value_display(&given, room, &length);
    has_text = shown != nullptr;
    if (has_text) text = {shown, length};
  }
  if (!has_text || text != key) {
    refuse(given_at_[of.slot],
           "property " + in_quotes(of.name) + " contradicts the key " + in_quotes(key) + " of the URI");
  }
}

} // namespace store
