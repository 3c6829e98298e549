// Shapes: the columns of a path, and where each name stands.
#include "zuapi/objects.hpp"

namespace zuapi {

shape *shape_new(zu_do_name *const *names, uint32_t width) {
  auto *form = allocate<shape>(width * sizeof(zu_do_ntcolumn));
  if (form == nullptr) return nullptr;
  form->columns.count = 1;
  form->columns.flags = list_frozen;
  form->columns.length = form->columns.capacity = width;
  form->columns.items = reinterpret_cast<zu_do_ntcolumn *>(form + 1);
  bool good = form->slots.reserve(width);
  for (uint32_t slot = 0; good && slot < width; ++slot) {
    form->columns.items[slot] = {names[slot], ZU_DO_TYPE_NONE};
    good = form->slots.insert(names[slot]->hash, static_cast<int32_t>(slot));
  }
  if (good) return form;
  shape_free(form);
  return nullptr;
}

void shape_free(shape *form) {
  if (form == nullptr) return;
  form->~shape();
  release(form);
}

} // namespace zuapi
