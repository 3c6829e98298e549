// Frees queues of records that wait to be walked.
#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/record_cache.h"

void cleanup_props_list(queue *props_list) noexcept {
  const tvr::block<queue> record(props_list);
  if (record == nullptr) return;
  while (props_list->head != nullptr) {
    const tvr::block<props_item> item(static_cast<props_item *>(queue_dequeue(props_list)));
    if (item != nullptr) tvr::drop_field(item->props);
  }
}
