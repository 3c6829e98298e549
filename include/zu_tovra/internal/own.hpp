// Ownership inside the library: blocks of the named allocator and references on data objects, each in a
// handle that releases them. Every step may fail for lack of memory; with handles a function simply returns,
// and nothing leaks. Raw allocation, ref and deref appear here and nowhere else.
#pragma once

#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "qmalloc/qmalloc.h"
#include "zu_tovra/export.h"

namespace tvr {

// ---- Blocks ----

struct free_block {
  void operator()(const void *block) const noexcept { qfree_named(const_cast<void *>(block)); }
};

// A block of plain data, freed with it.
template <class T>
using block = std::unique_ptr<T, free_block>;
// An owned NUL-terminated text.
using text = block<char>;

// `count` zeroed Ts, or null. Never a block of no bytes:
// leak checkers do not follow a pointer to a block's end.
template <class T>
[[nodiscard]] block<T> make_zeroed_array(size_t count) noexcept {
  static_assert(std::is_trivially_destructible_v<T>);
  return block<T>(static_cast<T *>(qcalloc_named(ZU_TVR_AREA, count != 0 ? count : 1, sizeof(T))));
}

// A zeroed T, or null.
template <class T>
[[nodiscard]] block<T> make_zeroed() noexcept {
  return make_zeroed_array<T>(1);
}

// Room for `count` Ts, not initialised; or null.
template <class T>
[[nodiscard]] block<T> make_room(size_t count) noexcept {
  return block<T>(static_cast<T *>(qmalloc_named(ZU_TVR_AREA, count * sizeof(T))));
}

// Changes the room to `count` Ts and keeps its content.
// False, and nothing is changed, when memory is exhausted.
template <class T>
[[nodiscard]] bool resize(block<T> &room, size_t count) noexcept {
  static_assert(std::is_trivially_copyable_v<T>);
  auto *moved = static_cast<T *>(qrealloc_named(ZU_TVR_AREA, room.get(), count * sizeof(T)));
  if (moved == nullptr) return false;
  (void)room.release();
  room.reset(moved);
  return true;
}

// A copy of a text, or null.
[[nodiscard]] inline text copy_text(const char *source) noexcept {
  return text(qstrdup_named(ZU_TVR_AREA, source));
}

// Room for a text of `length` bytes and its NUL, zeroed; or null.
[[nodiscard]] inline text make_text(size_t length) noexcept {
  return make_zeroed_array<char>(length + 1);
}

// A T that has members to release, in a block of its own.
template <class T>
struct destroy_block {
  void operator()(T *thing) const noexcept {
    thing->~T();
    qfree_named(thing);
  }
};
template <class T>
using owned = std::unique_ptr<T, destroy_block<T>>;

template <class T>
[[nodiscard]] owned<T> make_owned() noexcept {
  void *block = qcalloc_named(ZU_TVR_AREA, 1, sizeof(T));
  return owned<T>(block != nullptr ? new (block) T() : nullptr);
}

// An object that is freed by one call: unique<zu_tvr_uri, zu_tvr_uri_delete>.
template <auto Free>
struct free_with {
  template <class T>
  void operator()(T *thing) const noexcept {
    Free(thing);
  }
};
template <class T, auto Free>
using unique = std::unique_ptr<T, free_with<Free>>;

using string_buffer = unique<zu_do_strbuf, zu_do_strbuf_deref>;
using iterator = unique<zu_do_iter, zu_do_iter_deref>;
using error_object = unique<zu_do_error, zu_do_error_deref>;

// ---- References ----

template <class T>
struct counted; // how references on a T are taken and dropped

#define TVR_COUNTED(type)                                                   \
  template <>                                                               \
  struct counted<type> {                                                    \
    static type *take(type *object) noexcept { return type##_ref(object); } \
    static void drop(type *object) noexcept { type##_deref(object); }       \
  }
TVR_COUNTED(zu_do_name);
TVR_COUNTED(zu_do_value);
TVR_COUNTED(zu_do_uri);
TVR_COUNTED(zu_do_properties);
TVR_COUNTED(zu_do_properties_list);
TVR_COUNTED(zu_do_nlist);
TVR_COUNTED(zu_do_nvlist);
TVR_COUNTED(zu_do_ntlist);
TVR_COUNTED(zu_do_vlist);
TVR_COUNTED(zu_do_vtable);
#undef TVR_COUNTED

// One reference on a data object. `adopt` takes over a reference that the caller holds, `share` takes a new
// one; `release` hands the reference on.
template <class T>
class ref {
public:
  ref() noexcept = default;
  ref(ref &&other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ref &operator=(ref &&other) noexcept {
    if (this != &other) reset(std::exchange(other.object_, nullptr));
    return *this;
  }
  ref(const ref &) = delete;
  ref &operator=(const ref &) = delete;
  ~ref() { reset(nullptr); }

  [[nodiscard]] static ref adopt(T *object) noexcept { return ref(object); }
  [[nodiscard]] static ref share(T *object) noexcept {
    return ref(object != nullptr ? counted<T>::take(object) : nullptr);
  }

  T *get() const noexcept { return object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }
  bool operator==(std::nullptr_t) const noexcept { return object_ == nullptr; }
  [[nodiscard]] T *release() noexcept { return std::exchange(object_, nullptr); }
  void reset() noexcept { reset(nullptr); }

private:
  explicit ref(T *object) noexcept : object_(object) {}
  void reset(T *object) noexcept {
    T *old = std::exchange(object_, object);
    if (old != nullptr) counted<T>::drop(old);
  }

  T *object_ = nullptr;
};

// For references in the fields of public records, which are plain pointers.
template <class T>
[[nodiscard]] T *share_into_field(T *object) noexcept {
  return ref<T>::share(object).release();
}
template <class T>
void drop_field(T *&field) noexcept {
  auto dropped = ref<T>::adopt(std::exchange(field, nullptr));
}

} // namespace tvr
