#include "image/mem_image.h"

#include <cstring>

list_node::~list_node() = default;

data_block::data_block(int32_t at, int32_t length, const uint8_t* source)
    : address(at), size(length), bytes(new uint8_t[length > 0 ? length : 0]) {
  if (length > 0) memcpy(bytes, source, static_cast<size_t>(length));
}

data_block::~data_block() { delete[] bytes; }

void mem_image::append(data_block* block) {
  if (last_ == nullptr) {
    block->next = block;
  } else {
    block->next = last_->next;
    last_->next = block;
  }
  last_ = block;
}

void mem_image::insert_after(data_block* position, data_block* block) {
  block->next = position->next;
  position->next = block;
  if (position == last_) last_ = block;
}

data_block* mem_image::remove(data_block* block) {
  if (last_ == nullptr || block == nullptr) return nullptr;
  // Find the predecessor: start at the last node, whose successor is the first.
  list_node* before = last_;
  while (before->next != block) {
    before = before->next;
    if (before == last_) return nullptr;
  }
  if (block->next == block) {
    last_ = nullptr;
  } else {
    before->next = block->next;
    if (block == last_) last_ = before;
  }
  block->next = nullptr;
  return block;
}

void mem_image::erase(data_block* block) { delete remove(block); }

int mem_image::count() const {
  int n = 0;
  for (const data_block* block = first(); block != nullptr; block = next(block)) ++n;
  return n;
}

void mem_image::clear() {
  while (last_ != nullptr) erase(first());
}

void mem_image::for_each(action fn, void* argument) {
  for_each([&](data_block* block) { fn(block, argument); });
}

data_block* mem_image::find_if(predicate pred, void* argument) const {
  return find_if([&](const data_block* block) { return pred(block, argument); });
}
