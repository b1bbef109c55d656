#include <new>

#include "trq/foundation.h"

namespace {

// Null when there is no memory: the datum is then lost without a word, as the interface says.
LIGHT_ITEM* NewItem(void* data, LIGHT_ITEM* next) {
  LIGHT_ITEM* item = new (std::nothrow) LIGHT_ITEM;
  if (item) {
    item->data = data;
    item->next = next;
  }
  return item;
}

void DeleteChain(LIGHT_ITEM* item) {
  while (item) {
    LIGHT_ITEM* next = item->next;
    delete item;
    item = next;
  }
}

LIGHT_ITEM* FindFrom(LIGHT_ITEM* item, int (*cmp)(void*, void*), void* key) {
  while (item && cmp(item->data, key) == 0) item = item->next;
  return item;
}

// Puts items behind a list's end, which a join with an empty list may have left without a tail.
void Attach(LIGHT_LIST& list, LIGHT_ITEM* items) {
  LIGHT_ITEM* end = list.tail;
  if (!end) {
    for (end = list.head; end && end->next;) end = end->next;
  }
  (end ? end->next : list.head) = items;
}

}  // namespace

void LIGHT_ITEM::append2(void* d) {
  if (!data) {
    data = d;
  } else {
    add_after(d);
  }
}

void LIGHT_ITEM::prepend2(void* d) {
  if (data) append2(data);
  data = d;
}

int LIGHT_ITEM::length2() const {
  if (!data) return 0;
  int length = 0;
  for (const LIGHT_ITEM* item = this; item; item = item->next) ++length;
  return length;
}

void LIGHT_ITEM::clear2() {
  DeleteChain(next);
  next = nullptr;
  data = nullptr;
}

LIGHT_ITEM* LIGHT_ITEM::find_by2(int (*cmp)(void*, void*), void* key) {
  return data ? FindFrom(this, cmp, key) : nullptr;
}

void LIGHT_ITEM::add_after(void* d) {
  if (LIGHT_ITEM* item = NewItem(d, next)) next = item;
}

void LIGHT_ITEM::add_before(LIGHT_ITEM* prev, void* d) {
  if (!prev) {
    add_after(data);
    data = d;
  } else if (LIGHT_ITEM* item = NewItem(d, this)) {
    prev->next = item;
  }
}

LIGHT_ITEM* LIGHT_ITEM::remove(LIGHT_ITEM* prev) {
  if (next) {
    LIGHT_ITEM* successor = next;
    data = successor->data;
    next = successor->next;
    delete successor;
    return this;
  }
  if (!prev) {
    data = nullptr;
  } else {
    prev->next = nullptr;
    delete this;
  }
  return nullptr;
}

void LIGHT_LIST::clear() {
  DeleteChain(head);
  head = nullptr;
  tail = nullptr;
}

void LIGHT_LIST::append(void* d) {
  LIGHT_ITEM* item = NewItem(d, nullptr);
  if (!item) return;
  Attach(*this, item);
  tail = item;
}

int LIGHT_LIST::length() const {
  int length = 0;
  for (const LIGHT_ITEM* item = head; item; item = item->next) ++length;
  return length;
}

void LIGHT_LIST::join(LIGHT_LIST* other) {
  if (!other || other == this) return;
  Attach(*this, other->head);
  // Kept: an empty other leaves the tail null; append finds the real end again.
  tail = other->tail;
  other->head = nullptr;
  other->tail = nullptr;
}

LIGHT_ITEM* LIGHT_LIST::find_by(int (*cmp)(void*, void*), void* key) { return FindFrom(head, cmp, key); }
