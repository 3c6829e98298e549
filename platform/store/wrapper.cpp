// A forwarding wrapper around a data interface: counts the calls, and makes one fail on request.
#include "store/interfaces.hpp"

// All objects made through a wrapper have a reference on it, so that the owner may free it before them.
struct zu_store_wrapper {
  zu_data_ifc ifc; // first
  uint32_t count;  // references: its owner's, and those of the objects made through it
  zu_data_ifc *inner;
  uint64_t calls[ZU_CALL_COUNT];
  uint64_t rows;
  uint64_t left[ZU_CALL_COUNT]; // calls of the kind until one fails; 0: none
  int codes[ZU_CALL_COUNT];
  uint64_t left_any;
  int code_any;
  uint64_t fired;
  zu_store_watch_fn watch;
  void *watch_context;
  // The area of all wrappers: not that of data objects, whose counts must stay the same as without a wrapper.
  static constexpr uint32_t area = 0;

  zu_store_wrapper *share() {
    ++count;
    return this;
  }
  void release() {
    if (--count != 0) return;
    inner->ops->free(inner);
    qfree_named(this);
  }
};

namespace {

// A wrapped interface or cursor: all three have the same life.
template <class Ifc>
struct wrapped : store::counted_object<wrapped<Ifc>, Ifc, zu_store_wrapper> {
  wrapped(const decltype(Ifc::ops) ops, zu_store_wrapper *wrapper, Ifc *of)
      : store::counted_object<wrapped, Ifc, zu_store_wrapper>(ops, wrapper), inner(of) {}
  ~wrapped() { inner->ops->free(inner); }

  Ifc *inner;
};

// Wraps the result of a forwarded call, and takes it over also on failure.
template <class Ifc, class Ops>
int wrap(zu_store_wrapper *wrapper, const Ops *ops, Ifc *inner, Ifc **out) {
  const int code = wrapped<Ifc>::make(out, ops, wrapper, inner);
  if (code != ZU_OK) inner->ops->free(inner);
  return code;
}

// Counts down to the call that is to fail; true for that call.
bool strikes(uint64_t &left) {
  return left != 0 && --left == 0;
}

// Counts a call: 0, or the code that it fails with.
int count_call(zu_store_wrapper *wrapper, zu_store_call call) {
  ++wrapper->calls[call];
  const bool one = strikes(wrapper->left[call]);
  const bool any = strikes(wrapper->left_any);
  if (!one && !any) return ZU_OK;
  ++wrapper->fired;
  return one ? wrapper->codes[call] : wrapper->code_any;
}

void tell(zu_store_wrapper *wrapper, zu_store_call call, zu_do_uri *uri, uint64_t flags) {
  if (wrapper->watch != nullptr) {
    wrapper->watch(wrapper->watch_context, call, zu_do_uri_get_uri_str(uri), flags);
  }
}

// ---- Cursors ----

int cursor_fetch(zu_cursor *cursor, uint32_t count, zu_do_vtable *table) noexcept {
  auto *object = wrapped<zu_cursor>::of(cursor);
  if (const int code = count_call(object->data, ZU_CALL_FETCH)) return code;
  const size_t before = zu_do_vtable_get_len(table);
  const int code = object->inner->ops->fetch(object->inner, count, table);
  object->data->rows += zu_do_vtable_get_len(table) - before;
  return code;
}

zu_status *cursor_status(zu_cursor *cursor) noexcept {
  zu_cursor *inner = wrapped<zu_cursor>::of(cursor)->inner;
  return inner->ops->status(inner);
}

constexpr zu_cursor_ops cursor_ops = {nullptr, wrapped<zu_cursor>::ref, wrapped<zu_cursor>::free,
                                      cursor_fetch, cursor_status};

// ---- Collections ----

int coll_open_cursor(zu_coll_ifc *ifc, zu_do_uri *uri, zu_do_nlist *fields, zu_do_nvlist *query,
                     zu_do_nlist *order_by, uint64_t flags, zu_cursor **cursor) noexcept {
  auto *object = wrapped<zu_coll_ifc>::of(ifc);
  tell(object->data, ZU_CALL_OPEN_CURSOR, uri, flags);
  if (const int code = count_call(object->data, ZU_CALL_OPEN_CURSOR)) return code;
  zu_cursor *inner = nullptr;
  const int code =
      object->inner->ops->open_cursor(object->inner, uri, fields, query, order_by, flags, &inner);
  return code == ZU_OK ? wrap(object->data, &cursor_ops, inner, cursor) : code;
}

constexpr zu_coll_ifc_ops coll_ops = {nullptr, wrapped<zu_coll_ifc>::ref, wrapped<zu_coll_ifc>::free,
                                      coll_open_cursor};

// ---- Single records ----

int crudx_get(zu_crudx_ifc *ifc, zu_do_uri *uri, const char *config_name, uint64_t flags,
              zu_do_properties *record) noexcept {
  auto *object = wrapped<zu_crudx_ifc>::of(ifc);
  tell(object->data, ZU_CALL_GET, uri, flags);
  if (const int code = count_call(object->data, ZU_CALL_GET)) return code;
  return object->inner->ops->get(object->inner, uri, config_name, flags, record);
}

zu_status *crudx_status(zu_crudx_ifc *ifc) noexcept {
  zu_crudx_ifc *inner = wrapped<zu_crudx_ifc>::of(ifc)->inner;
  return inner->ops->status(inner);
}

constexpr zu_crudx_ifc_ops crudx_ops = {nullptr, wrapped<zu_crudx_ifc>::ref, wrapped<zu_crudx_ifc>::free,
                                        crudx_get, crudx_status};

// ---- The data interface ----

zu_store_wrapper *wrapper_of(zu_data_ifc *ifc) {
  return reinterpret_cast<zu_store_wrapper *>(ifc);
}

int data_ref(zu_data_ifc *ifc) noexcept {
  wrapper_of(ifc)->share();
  return ZU_OK;
}

int data_free(zu_data_ifc *ifc) noexcept {
  wrapper_of(ifc)->release();
  return ZU_OK;
}

// Forwards a call that gives an interface, by that member of the table.
template <class Ifc, class Ops>
int get_ifc(zu_data_ifc *ifc, zu_store_call call, int (*zu_data_ifc_ops::*get)(zu_data_ifc *, Ifc **),
            const Ops *ops, Ifc **out) {
  zu_store_wrapper *wrapper = wrapper_of(ifc);
  if (const int code = count_call(wrapper, call)) return code;
  Ifc *inner = nullptr;
  const int code = (wrapper->inner->ops->*get)(wrapper->inner, &inner);
  return code == ZU_OK ? wrap(wrapper, ops, inner, out) : code;
}

int data_get_coll_ifc(zu_data_ifc *ifc, zu_coll_ifc **coll) noexcept {
  return get_ifc(ifc, ZU_CALL_GET_COLL_IFC, &zu_data_ifc_ops::get_coll_ifc, &coll_ops, coll);
}

int data_get_crudx_ifc(zu_data_ifc *ifc, zu_crudx_ifc **crudx) noexcept {
  return get_ifc(ifc, ZU_CALL_GET_CRUDX_IFC, &zu_data_ifc_ops::get_crudx_ifc, &crudx_ops, crudx);
}

constexpr zu_data_ifc_ops data_ops = {nullptr, data_ref, data_free, data_get_coll_ifc, data_get_crudx_ifc};

} // namespace

zu_store_wrapper *zu_store_wrapper_new(zu_data_ifc *inner) {
  if (inner == nullptr) return nullptr;
  auto *wrapper =
      static_cast<zu_store_wrapper *>(qcalloc_named(zu_store_wrapper::area, 1, sizeof(zu_store_wrapper)));
  if (wrapper == nullptr) return nullptr;
  wrapper->ifc.ops = &data_ops;
  wrapper->count = 1;
  wrapper->inner = inner;
  inner->ops->ref(inner);
  return wrapper;
}

zu_data_ifc *zu_store_wrapper_ifc(zu_store_wrapper *wrapper) {
  return wrapper == nullptr ? nullptr : &wrapper->ifc;
}

void zu_store_wrapper_free(zu_store_wrapper *wrapper) {
  if (wrapper != nullptr) wrapper->release();
}

uint64_t zu_store_wrapper_calls(zu_store_wrapper *wrapper, zu_store_call call) {
  return call < ZU_CALL_COUNT ? wrapper->calls[call] : 0;
}

uint64_t zu_store_wrapper_rows(zu_store_wrapper *wrapper) {
  return wrapper->rows;
}

void zu_store_wrapper_reset(zu_store_wrapper *wrapper) {
  for (uint64_t &calls : wrapper->calls) calls = 0;
  wrapper->rows = 0;
}

void zu_store_wrapper_watch(zu_store_wrapper *wrapper, zu_store_watch_fn watch, void *context) {
  wrapper->watch = watch;
  wrapper->watch_context = context;
}

void zu_store_wrapper_fail(zu_store_wrapper *wrapper, zu_store_call call, uint64_t n, int code) {
  if (call >= ZU_CALL_COUNT) return;
  wrapper->left[call] = n;
  wrapper->codes[call] = code;
  wrapper->fired = 0;
}

void zu_store_wrapper_fail_any(zu_store_wrapper *wrapper, uint64_t n, int code) {
  wrapper->left_any = n;
  wrapper->code_any = code;
  wrapper->fired = 0;
}

uint64_t zu_store_wrapper_fired(zu_store_wrapper *wrapper) {
  return wrapper->fired;
}
