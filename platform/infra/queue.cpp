// Queues of items that begin with their link.
#include "infra/infra.h"

void queue_init(queue *q, uint32_t bound) {
  *q = queue{nullptr, nullptr, 0, bound};
}

int queue_enqueue(queue *q, void *item) {
  if (q->bound != 0 && q->count >= q->bound) return 1;
  auto *link = static_cast<queue_item *>(item);
  link->next = nullptr;
  (q->tail != nullptr ? q->tail->next : q->head) = link;
  q->tail = link;
  ++q->count;
  return 0;
}

void *queue_dequeue(queue *q) {
  queue_item *item = q->head;
  if (item == nullptr) return nullptr;
  q->head = item->next;
  if (q->head == nullptr) q->tail = nullptr;
  --q->count;
  item->next = nullptr;
  return item;
}
