// Loads data files, which are read as a whole.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "store/interfaces.hpp"
#include "store/loader.hpp"
#include "yang/document.hpp"

namespace store {

namespace {

class file_handle {
public:
  explicit file_handle(const char *path) : number_(open(path, O_RDONLY | O_CLOEXEC)) {}
  ~file_handle() {
    if (number_ >= 0) close(number_);
  }
  file_handle(const file_handle &) = delete;
  file_handle &operator=(const file_handle &) = delete;
  int number() const { return number_; }

private:
  int number_;
};

// Reads a file or pipe to its end: 0 or the system's error number. Throws std::bad_alloc.
int read_whole(const char *path, infra::string &text) {
  const file_handle file(path);
  if (file.number() < 0) return errno;
  struct stat about = {};
  if (fstat(file.number(), &about) != 0) return errno;
  if (S_ISDIR(about.st_mode)) return EISDIR;
  // A byte more than the file is said to have shows its end without growing; the parser's padding fits too.
  constexpr size_t least = size_t{64} << 10;
  text.resize((S_ISREG(about.st_mode) ? static_cast<size_t>(about.st_size) : least) +
              simdjson::SIMDJSON_PADDING);
  for (size_t length = 0;;) {
    if (length == text.size()) text.resize(length * 2);
    const ssize_t more = read(file.number(), text.data() + length, text.size() - length);
    if (more < 0 && errno != EINTR) return errno;
    if (more > 0) length += static_cast<size_t>(more);
    if (more != 0) continue;
    text.resize(length);
    return 0;
  }
}

zu_yaml::document convert(const char *name, std::string_view text) {
  try {
    return zu_yaml::read_document(text);
  } catch (const zu_yaml::refusal &refused) {
    throw source_failure{ZU_FAILED, shown_place(name, refused.at) + ": " + refused.message};
  }
}

bool is_yaml_name(std::string_view path) {
  return path.ends_with(".yaml") || path.ends_with(".yml");
}

// A text as JSON, and the YAML document from which it was made.
struct json_text {
  infra::string text;
  zu_yaml::document yaml;
  bool is_yaml = false;
};

void read_source(const zu_store_text &given, json_text &made) {
  if (given.text != nullptr) {
    made.text.assign(given.text, given.length);
  } else if (const int number = read_whole(given.name, made.text)) {
    throw source_failure{ZU_CANNOT_OPEN,
                         std::string(given.name) + ": " + std::generic_category().message(number)};
  }
  made.is_yaml = given.text == nullptr ? is_yaml_name(given.name) : given.yaml != 0;
  if (!made.is_yaml) return;
  made.yaml = convert(given.name, made.text);
  made.text = made.yaml.json;
}

// Reads the texts one after the other, the records' last.
void load_into(snapshot &data, const std::vector<zu_store_text> &given) {
  std::vector<json_text> texts(given.size()); // those of classes are shown in messages about later ones
  loader reader(data);
  for (size_t i = 0; i < given.size(); ++i) {
    read_source(given[i], texts[i]);
    const named_text from = {given[i].name, zu_json::padded(texts[i].text),
                             texts[i].is_yaml ? &texts[i].yaml : nullptr};
    try {
      zu_json::read_json(from.text, [&] { reader.read(from, i + 1 < given.size()); });
    } catch (const zu_json::refusal &refused) {
      throw source_failure{ZU_FAILED, from.place_of(refused.offset) + ": " + refused.message};
    }
  }
  infra::string().swap(texts.back().text); // before the records take its memory
  reader.finish();
}

zu_data_ifc *load(const std::vector<zu_store_text> &given) {
  const auto release = [](data_object *object) { object->release(); };
  std::unique_ptr<data_object, decltype(release)> object(data_object_new(), release);
  load_into(object->data, given);
  return &object.release()->ifc;
}

// The result of a step; null after a failure.
template <class Step>
auto made_by(Step &&step, const char *name, zu_do_error **error) noexcept {
  decltype(step()) made = nullptr;
  reported(error, [&] {
    try {
      made = step();
    } catch (const std::bad_alloc &) {
      throw source_failure{ZU_EXHAUSTED, std::string(name) + ": out of memory"};
    }
  });
  return made;
}

std::vector<std::string> strings(const char *const *texts, size_t count) {
  return {texts, texts + count};
}

zu_store_text named(zu_store_text given) {
  if (given.name == nullptr) given.name = "";
  return given;
}

} // namespace

} // namespace store

zu_data_ifc *zu_store_load(const zu_store_text *data, const zu_store_text *classes, size_t class_count,
                           zu_do_error **error) {
  const zu_store_text last = store::named(*data);
  const auto load = [&] {
    std::vector<zu_store_text> given;
    for (size_t i = 0; i < class_count; ++i) given.push_back(store::named(classes[i]));
    given.push_back(last);
    return store::load(given);
  };
  return store::made_by(load, last.name, error);
}

zu_data_ifc *zu_store_load_file(const char *path, zu_do_error **error) {
  const zu_store_text file = {path, nullptr, 0, 0};
  return zu_store_load(&file, nullptr, 0, error);
}

zu_data_ifc *zu_store_load_text(const char *name, const char *text, size_t length, zu_do_error **error) {
  const zu_store_text given = {name, text == nullptr ? "" : text, length, 0};
  return zu_store_load(&given, nullptr, 0, error);
}

zu_data_ifc *zu_store_load_yaml(const char *name, const char *text, size_t length, zu_do_error **error) {
  const zu_store_text given = {name, text == nullptr ? "" : text, length, 1};
  return zu_store_load(&given, nullptr, 0, error);
}

char *zu_store_json_of_yaml(const char *name, const char *text, size_t length, zu_do_error **error) {
  if (name == nullptr) name = "";
  const auto convert = [&] { return store::new_text(store::convert(name, {text, length}).json); };
  return store::made_by(convert, name, error);
}

char *zu_store_json_of_yang(const zu_store_yang *schema, const char *name, const char *text, size_t length,
                            zu_do_error **error) {
  if (name == nullptr) name = "";
  const auto convert = [&] {
    try {
      const zu_yang::choice chosen = {store::strings(schema->directories, schema->directory_count),
                                      store::strings(schema->modules, schema->module_count),
                                      store::strings(schema->secrets, schema->secret_count)};
      return store::new_text(text == nullptr ? zu_yang::read_classes(chosen)
                                             : zu_yang::read_document(chosen, name, {text, length}));
    } catch (const zu_yang::refusal &refused) {
      throw store::source_failure{ZU_FAILED, refused.message};
    }
  };
  return store::made_by(convert, name, error);
}
