// A pool of equal-sized chunks that hands out the lowest free address first,
// as a free list kept in address order would, without walking any list:
// chunks live in blocks kept in address order, each block has a bitmap of
// free chunks and the pool a bitmap of blocks that have one. Obtaining and
// returning a chunk cost a few word scans and one binary search over the
// blocks, whatever the number of live or free chunks. Blocks are never
// returned to the system: the pools live for the process.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

namespace qvsv::detail {

class ChunkPool {
 public:
  static constexpr std::size_t kChunksPerBlock = 256;

  ChunkPool(std::size_t chunkSize, std::size_t chunkAlign)
      : chunkSize_(roundUp(chunkSize, chunkAlign)), chunkAlign_(chunkAlign) {}
  ChunkPool(const ChunkPool&) = delete;
  ChunkPool& operator=(const ChunkPool&) = delete;

  std::size_t chunkSize() const { return chunkSize_; }

  // The lowest free chunk; throws std::bad_alloc when no block can be made.
  void* allocate() {
    std::size_t blockIndex = firstBlockWithFree();
    if (blockIndex == kNone) blockIndex = addBlock();
    Block& block = blocks_[blockIndex];
    for (std::size_t w = 0; w < kWords; ++w) {
      if (block.free[w] != 0) {
        const auto bit = static_cast<std::size_t>(std::countr_zero(block.free[w]));
        block.free[w] &= block.free[w] - 1;
        if (--block.freeCount == 0) clearBit(blocksWithFree_, blockIndex);
        ++live_;
        return block.base + (w * 64 + bit) * chunkSize_;
      }
    }
    return nullptr;  // unreachable: the block was listed as having a free chunk
  }

  // Returns a chunk handed out by this pool; false (and nothing done) for an
  // address that is not a live chunk of this pool.
  bool tryDeallocate(void* chunk) {
    const std::size_t blockIndex = blockOf(chunk);
    if (blockIndex == kNone) return false;
    Block& block = blocks_[blockIndex];
    const auto offset = static_cast<std::size_t>(static_cast<std::byte*>(chunk) - block.base);
    const std::size_t slot = offset / chunkSize_;
    const std::uint64_t bit = std::uint64_t{1} << (slot % 64);
    if (offset % chunkSize_ != 0 || (block.free[slot / 64] & bit) != 0) return false;
    block.free[slot / 64] |= bit;
    if (block.freeCount++ == 0) setBit(blocksWithFree_, blockIndex);
    if (blockIndex < lowestWithFree_) lowestWithFree_ = blockIndex;
    --live_;
    return true;
  }

  void deallocate(void* chunk) { tryDeallocate(chunk); }

  // True when the address is a chunk of this pool that is handed out.
  bool ownsLive(const void* chunk) const {
    const std::size_t blockIndex = blockOf(chunk);
    if (blockIndex == kNone) return false;
    const Block& block = blocks_[blockIndex];
    const auto offset = static_cast<std::size_t>(static_cast<const std::byte*>(chunk) - block.base);
    if (offset % chunkSize_ != 0) return false;
    const std::size_t slot = offset / chunkSize_;
    return (block.free[slot / 64] & (std::uint64_t{1} << (slot % 64))) == 0;
  }

  // True when the address lies inside one of the pool's blocks, live or free:
  // a pool address that is not a live chunk was released already.
  bool containsAddress(const void* address) const { return blockOf(address) != kNone; }

  // The live chunk that holds the address (anywhere inside it), or null.
  void* liveChunkContaining(const void* address) const {
    const std::size_t blockIndex = blockOf(address);
    if (blockIndex == kNone) return nullptr;
    const Block& block = blocks_[blockIndex];
    const auto offset = static_cast<std::size_t>(static_cast<const std::byte*>(address) - block.base);
    const std::size_t slot = offset / chunkSize_;
    if ((block.free[slot / 64] & (std::uint64_t{1} << (slot % 64))) != 0) return nullptr;
    return block.base + slot * chunkSize_;
  }

  // Every live chunk in ascending address order (a snapshot: the visitor may
  // free chunks; check ownsLive before touching one that another visit may
  // have freed).
  std::vector<void*> liveChunks() const {
    std::vector<void*> out;
    out.reserve(live_);
    for (const Block& block : blocks_) {
      for (std::size_t slot = 0; slot < kChunksPerBlock; ++slot) {
        if ((block.free[slot / 64] & (std::uint64_t{1} << (slot % 64))) == 0) {
          out.push_back(block.base + slot * chunkSize_);
        }
      }
    }
    return out;
  }

  std::size_t liveCount() const { return live_; }

 private:
  static constexpr std::size_t kWords = kChunksPerBlock / 64;
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  struct Block {
    std::byte* base;
    std::uint64_t free[kWords];
    std::size_t freeCount;
  };

  static std::size_t roundUp(std::size_t n, std::size_t align) { return (n + align - 1) / align * align; }
  static void setBit(std::vector<std::uint64_t>& bits, std::size_t i) { bits[i / 64] |= std::uint64_t{1} << (i % 64); }
  static void clearBit(std::vector<std::uint64_t>& bits, std::size_t i) {
    bits[i / 64] &= ~(std::uint64_t{1} << (i % 64));
  }

  // Starts at the lowest block that may have a free chunk (kept as a hint,
  // lowered on every return), so a run of full blocks is passed over once.
  std::size_t firstBlockWithFree() {
    for (std::size_t w = lowestWithFree_ / 64; w < blocksWithFree_.size(); ++w) {
      if (blocksWithFree_[w] != 0) {
        lowestWithFree_ = w * 64 + static_cast<std::size_t>(std::countr_zero(blocksWithFree_[w]));
        return lowestWithFree_;
      }
    }
    lowestWithFree_ = blocks_.size();
    return kNone;
  }

  std::size_t blockOf(const void* chunk) const {
    const auto* p = static_cast<const std::byte*>(chunk);
    const std::size_t blockBytes = chunkSize_ * kChunksPerBlock;
    // Most programs live in one block; try the last one found first.
    if (lastBlock_ < blocks_.size() && p >= blocks_[lastBlock_].base && p < blocks_[lastBlock_].base + blockBytes) {
      return lastBlock_;
    }
    auto it = std::upper_bound(blocks_.begin(), blocks_.end(), p,
                               [](const std::byte* q, const Block& b) { return q < b.base; });
    if (it == blocks_.begin()) return kNone;
    --it;
    if (p >= it->base + blockBytes) return kNone;
    lastBlock_ = static_cast<std::size_t>(it - blocks_.begin());
    return lastBlock_;
  }

  // Inserts a block at its address-ordered place; the free-block bitmap is
  // rebuilt because the indices after it move (rare: once per 256 chunks).
  std::size_t addBlock() {
    auto* base = static_cast<std::byte*>(
        ::operator new(chunkSize_ * kChunksPerBlock, std::align_val_t(std::max(chunkAlign_, alignof(std::max_align_t)))));
    Block block{base, {}, kChunksPerBlock};
    std::fill(std::begin(block.free), std::end(block.free), ~std::uint64_t{0});
    auto it = std::upper_bound(blocks_.begin(), blocks_.end(), base,
                               [](const std::byte* q, const Block& b) { return q < b.base; });
    const auto index = static_cast<std::size_t>(it - blocks_.begin());
    blocks_.insert(it, block);
    blocksWithFree_.assign((blocks_.size() + 63) / 64, 0);
    for (std::size_t i = 0; i < blocks_.size(); ++i) {
      if (blocks_[i].freeCount != 0) setBit(blocksWithFree_, i);
    }
    lowestWithFree_ = std::min(lowestWithFree_, index);
    lastBlock_ = index;
    return index;
  }

  std::size_t chunkSize_;
  std::size_t chunkAlign_;
  std::vector<Block> blocks_;
  std::vector<std::uint64_t> blocksWithFree_;
  std::size_t lowestWithFree_ = 0;
  mutable std::size_t lastBlock_ = 0;
  std::size_t live_ = 0;
};

}  // namespace qvsv::detail
