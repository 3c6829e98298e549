// Compiles URI templates, and keeps the programs that the templates of a tree share.
#include "uri_resolve.hpp"

#include <algorithm>
#include <utility>

#include "infra/infra.h"

struct zu_tvr_uri_programs {
  ht_table *by_text;
  ht_table *beginnings; // text up to a key's value, as pieces, to its step_id
  uint32_t count;
  uint32_t beginning_count;
};

namespace tvr {
namespace {

using program_handle = unique<zu_tvr_uri_program, drop_uri_program>;

constexpr char sample_value[] = "x";

void drop_shared(char *, void *program) noexcept {
  drop_uri_program(static_cast<zu_tvr_uri_program *>(program));
}

uint32_t count_steps(const zu_tvr_uri *uri) noexcept {
  uint32_t count = 0;
  for (; uri != nullptr && uri->is_dynamic != 0; uri = uri->data.dyn->parent) ++count;
  return count;
}

// Writes the texts of a program into its block of pieces.
class writer {
public:
  explicit writer(char *at) noexcept : at_(at), start_(at) {}

  writer &operator<<(std::string_view text) noexcept {
    at_ = std::copy(text.begin(), text.end(), at_);
    return *this;
  }
  // The text that was written since the last call.
  std::string_view piece() noexcept {
    const char *start = std::exchange(start_, at_);
    return {start, static_cast<size_t>(at_ - start)};
  }

private:
  char *at_;
  char *start_;
};

std::string_view or_empty(const char *text) noexcept {
  return text != nullptr ? std::string_view(text) : std::string_view();
}

size_t room_of(const zu_tvr_dyn_uri *segment, const zu_do_name *key) noexcept {
  return 2 * or_empty(zu_do_name_get_strname(segment->ref_name)).size() +
         or_empty(zu_do_name_get_strname(const_cast<zu_do_name *>(key))).size() +
         or_empty(segment->tail).size() + sizeof "?/;=";
}

void place_step(uri_step &step, const zu_tvr_dyn_uri *segment, bool after_root, writer &out) noexcept {
  const std::string_view name = or_empty(zu_do_name_get_strname(segment->ref_name));
  step.where = segment->sep_type;
  out << (step.where == DYN_KEY_QUERY ? "?" : "/") << name;
  step.look_up = out.piece();
  out << (after_root ? "" : "/") << name << ";" << or_empty(zu_do_name_get_strname(step.key)) << "=";
  step.head = out.piece();
  out << or_empty(segment->tail);
  step.tail = out.piece();
}

// True when the URI of `given` has the text `expected`.
bool is_text_of_uri(const char *given, std::string_view expected) noexcept {
  const auto uri = ref<zu_do_uri>::adopt(zu_do_uri_new(given));
  const char *written = zu_do_uri_get_uri_str(uri.get());
  return written != nullptr && expected == written;
}

// A source that writes sample values, to find out which look-ups are canonical. Values are always written in
// key form, so one sample shows it for all values.
class sample_source {
public:
  explicit sample_source(bool relative) noexcept : relative_(relative) {}

  int32_t take(uri_step &step, text_buffer &out) noexcept {
    const step_look_up wanted = look_up_of(step, out.view(), relative_);
    text_buffer shown, whole;
    shown.add(wanted.from);
    shown.add(step.look_up);
    whole.add(wanted.uri.first);
    whole.add(wanted.uri.second);
    const char *given = shown.c_str();
    step.canonical =
        wanted.possible && given != nullptr && !whole.failed() && is_text_of_uri(given, whole.view());
    out.add(step.head);
    out.add(sample_value);
    return 0;
  }

private:
  bool relative_;
};

void learn_canonical(zu_tvr_uri_program &program) noexcept {
  text_buffer out;
  sample_source source(program.relative);
  uint32_t at = 0;
  run_uri_program(program, at, program.step_count, out, source);
  const char *written = out.c_str();
  program.canonical = written != nullptr && is_text_of_uri(written, out.view());
}

// The text of the static template with which a template begins, or which it is.
std::string_view static_text(const zu_tvr_uri *uri) noexcept {
  while (uri != nullptr && uri->is_dynamic != 0) uri = uri->data.dyn->parent;
  const char *text = uri != nullptr ? zu_do_uri_get_uri_str(uri->data.uri) : "";
  return text != nullptr ? std::string_view(text) : std::string_view();
}

// Room for all texts, the template's own and a NUL included.
bool make_pieces(zu_tvr_uri_program &program, const zu_tvr_uri *uri, std::string_view text) noexcept {
  size_t room = text.size() + 1 + static_text(uri).size();
  for (uint32_t i = program.step_count; i-- > 0; uri = uri->data.dyn->parent) {
    uri_step &step = program.steps[i];
    step.keys = share_into_field(uri->data.dyn->keys);
    step.key = zu_do_nlist_get(step.keys, 0);
    room += room_of(uri->data.dyn, step.key);
  }
  program.pieces = make_text(room).release();
  return program.pieces != nullptr;
}

// Fills the steps. The segments are linked from the last to the first, so the function calls itself for the
// parent before it writes its own pieces.
void place_steps(zu_tvr_uri_program &program, const zu_tvr_uri *uri, uint32_t count, writer &out) noexcept {
  if (count == 0) return;
  place_steps(program, uri->data.dyn->parent, count - 1, out);
  place_step(program.steps[count - 1], uri->data.dyn, count == 1 && is_root(program.start), out);
}

bool fill(zu_tvr_uri_program &program, const zu_tvr_uri *uri, std::string_view text) noexcept {
  program.references = 1;
  program.relative = uri->relative != 0;
  program.step_count = count_steps(uri);
  program.steps = make_zeroed_array<uri_step>(program.step_count).release();
  if (program.steps == nullptr || !make_pieces(program, uri, text)) return false;
  writer out(program.pieces);
  out << text << std::string_view("\0", 1);
  static_cast<void>(out.piece());
  out << static_text(uri);
  program.start = out.piece(); // of a static template the last piece: a NUL follows
  program.has_start = static_text(uri).data() != nullptr;
  place_steps(program, uri, program.step_count, out);
  learn_canonical(program);
  return true;
}

// ---- Numbers ----

struct step_id {
  uint64_t id;
  uint32_t number;
};

void free_beginning(char *key, void *value) noexcept {
  const text owned_key(key);
  const block<step_id> owned_id(static_cast<step_id *>(value));
}

// The id of a beginning, the same for equal beginnings in a tree; a new one when memory is exhausted.
step_id id_of(zu_tvr_uri_programs *programs, text beginning) noexcept {
  if (programs == nullptr || !beginning) return {next_id(), 0};
  if (const auto *known = static_cast<step_id *>(htFind(programs->beginnings, beginning.get())))
    return *known;
  auto made = make_zeroed<step_id>();
  if (made == nullptr || htAdd(programs->beginnings, beginning.get(), made.get()) != 0) return {next_id(), 0};
  (void)beginning.release();
  *made = {next_id(), ++programs->beginning_count};
  return *made.release();
}

void number_steps(zu_tvr_uri_program &program, zu_tvr_uri_programs *programs) noexcept {
  text_buffer beginning;
  beginning.add(program.start);
  for (uint32_t i = 0; i < program.step_count; ++i) {
    uri_step &step = program.steps[i];
    beginning.add("$!#"[step.where]);
    beginning.add(step.head);
    const step_id id = id_of(programs, copy_text(beginning.c_str()));
    step.id = id.id;
    step.number = id.number;
    beginning.add(step.tail);
  }
}

// Adds the program to the set, which takes a reference of its own.
void share(zu_tvr_uri_programs *programs, zu_tvr_uri_program *program) noexcept {
  if (programs == nullptr || htAdd(programs->by_text, program->pieces, program) != 0) return;
  ++program->references;
  program->number = ++programs->count;
}

zu_tvr_uri_program *find_shared(zu_tvr_uri_programs *programs, const char *text) noexcept {
  if (programs == nullptr) return nullptr;
  auto *program = static_cast<zu_tvr_uri_program *>(htFind(programs->by_text, text));
  if (program != nullptr) ++program->references;
  return program;
}

zu_tvr_uri_program *make_program(const zu_tvr_uri *uri, const char *text) noexcept {
  program_handle program(make_zeroed<zu_tvr_uri_program>().release());
  return program && fill(*program, uri, text) ? program.release() : nullptr;
}

} // namespace

zu_tvr_uri_programs *uri_programs_new() noexcept {
  auto programs = make_zeroed<zu_tvr_uri_programs>();
  if (!programs) return nullptr;
  programs->by_text = htMake(0);
  programs->beginnings = htMake(0);
  if (programs->by_text != nullptr && programs->beginnings != nullptr) return programs.release();
  uri_programs_delete(programs.release());
  return nullptr;
}

void uri_programs_delete(zu_tvr_uri_programs *programs) noexcept {
  const block<zu_tvr_uri_programs> owner(programs);
  if (!owner) return;
  htCloseWithFunction2(owner->by_text, drop_shared);
  htCloseWithFunction2(owner->beginnings, free_beginning);
}

void drop_uri_program(zu_tvr_uri_program *program) noexcept {
  if (program == nullptr || --program->references != 0) return;
  const block<zu_tvr_uri_program> owner(program);
  const block<uri_step> steps(program->steps);
  const text pieces(program->pieces);
  for (uint32_t i = 0; steps && i < program->step_count; ++i) drop_field(program->steps[i].keys);
}

bool compile_uri(zu_tvr_uri *uri, const char *source, zu_tvr_uri_programs *programs) noexcept {
  zu_tvr_uri_program *program = find_shared(programs, source);
  if (program == nullptr) {
    program = make_program(uri, source);
    if (program == nullptr) return false;
    program->id = next_id();
    number_steps(*program, programs);
    share(programs, program);
  }
  uri->program = program;
  uri->text = program->pieces;
  for (uint32_t step = program->step_count; step-- > 0; uri = uri->data.dyn->parent) {
    uri->data.dyn->program = program;
    uri->data.dyn->step = step;
  }
  return true;
}

} // namespace tvr
