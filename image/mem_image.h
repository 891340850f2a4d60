// A memory image: the contents meant for, or read back from, one chip memory,
// kept as an ordered circular list of address-tagged data blocks (not a flat
// array). The HEX reader and writer, the memory operations, the programming
// run and the special data cells all move program data through it.
#pragma once

#include <cstdint>

// Base of everything that can stand in a mem_image; the list destroys its
// nodes only through the virtual destructor.
struct list_node {
  list_node* next = nullptr;  // in a one-node list it points to the node itself
  list_node() = default;
  list_node(const list_node&) = delete;
  list_node& operator=(const list_node&) = delete;
  virtual ~list_node();
};

// One contiguous run of bytes at an absolute byte address of the chip memory.
struct data_block : list_node {
  // Copies `size` bytes from `source`.
  data_block(int32_t address, int32_t size, const uint8_t* source);
  ~data_block() override;

  // Last address covered; signed 32-bit like every address comparison.
  int32_t end() const { return static_cast<int32_t>(static_cast<uint32_t>(address) + static_cast<uint32_t>(size) - 1u); }
  bool contains(int32_t at) const { return at >= address && at <= end(); }
  // The address must lie inside the block (callers find the block first).
  uint8_t get_byte(int32_t at) const { return bytes[at - address]; }
  void set_byte(int32_t at, uint8_t value) { bytes[at - address] = value; }

  int32_t address;
  int32_t size;
  uint8_t* bytes;  // owned, `size` bytes
};

class mem_image {
 public:
  using action = void (*)(data_block* block, void* argument);
  using predicate = bool (*)(const data_block* block, void* argument);

  mem_image() = default;
  mem_image(const mem_image&) = delete;
  mem_image& operator=(const mem_image&) = delete;
  ~mem_image() { clear(); }

  // Links the block behind the last node; the image owns it from now on.
  void append(data_block* block);
  // Links the block directly behind `position` (which must be in the image).
  void insert_after(data_block* position, data_block* block);
  // Unlinks the block and hands it back (next = null), or null when absent.
  data_block* remove(data_block* block);
  // remove, then destroy the block if it was found.
  void erase(data_block* block);

  data_block* first() const { return last_ == nullptr ? nullptr : as_block(last_->next); }
  data_block* last() const { return as_block(last_); }
  // The node after `block`, or null after the last one (no wrap-around).
  data_block* next(const data_block* block) const {
    return block == last_ ? nullptr : as_block(block->next);
  }
  bool empty() const { return last_ == nullptr; }
  int count() const;
  void clear();

  // Calls action(block, argument) from the first node to the last; the
  // successor is taken first, so the action may unlink or destroy its block.
  void for_each(action fn, void* argument);
  // First block, in list order, for which pred(block, argument) holds; or null.
  data_block* find_if(predicate pred, void* argument) const;

  // The same two walks for any callable taking a data_block*.
  template <class F>
  void for_each(F&& fn) {
    for (data_block* block = first(); block != nullptr;) {
      data_block* following = next(block);
      fn(block);
      block = following;
    }
  }
  template <class P>
  data_block* find_if(P&& pred) const {
    for (data_block* block = first(); block != nullptr; block = next(block))
      if (pred(static_cast<const data_block*>(block))) return block;
    return nullptr;
  }

 private:
  static data_block* as_block(list_node* node) { return static_cast<data_block*>(node); }
  list_node* last_ = nullptr;
};
