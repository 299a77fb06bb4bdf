// Status codes of the common library and of the network-processor driver: unsigned 32-bit, 0 is success.
#pragma once

#include <cstdint>

inline constexpr std::uint32_t QLIX_COMM_OK = 0;

// Red-black tree.
inline constexpr std::uint32_t QLIX_COMM_RB_KEY_EXISTS = 0x1001;
inline constexpr std::uint32_t QLIX_COMM_RB_KEY_ABSENT = 0x1002;
inline constexpr std::uint32_t QLIX_COMM_RB_FULL = 0x1003;
inline constexpr std::uint32_t QLIX_COMM_RB_EMPTY = 0x1004;
inline constexpr std::uint32_t QLIX_COMM_RB_DYNAMIC = 0x1005;  ///< given-slot insert on a dynamic tree

// Arguments and memory.
inline constexpr std::uint32_t QLIX_COMM_POINT_NULL = 0x1201;     ///< null argument, or an allocation failed
inline constexpr std::uint32_t QLIX_COMM_OUT_OF_RANGE = 0x1205;   ///< value outside its range, overflow, depth limit
inline constexpr std::uint32_t QLIX_COMM_RANGE_INVALID = 0x1206;  ///< range check whose minimum is above its maximum

// Double link list.
inline constexpr std::uint32_t QLIX_COMM_DLINK_ABSENT = 1;         ///< nothing in the list matched
inline constexpr std::uint32_t QLIX_COMM_DLINK_MAX_ZERO = 0x1509;  ///< init with room for no node

// Index stack.
inline constexpr std::uint32_t QLIX_COMM_LIST_STACK_ELEMENT_NUM = 0x1801;  ///< created with 0 elements
inline constexpr std::uint32_t QLIX_COMM_LIST_STACK_NULL = 0x1802;
inline constexpr std::uint32_t QLIX_COMM_LIST_STACK_NO_MEMORY = 0x1803;
inline constexpr std::uint32_t QLIX_COMM_LIST_STACK_EMPTY = 0x1804;       ///< no free slot
inline constexpr std::uint32_t QLIX_COMM_LIST_STACK_FREE_INDEX = 0x1805;  ///< freed slot out of range
inline constexpr std::uint32_t QLIX_COMM_LIST_STACK_SPEC_INDEX = 0x1806;  ///< given slot out of range
inline constexpr std::uint32_t QLIX_COMM_LIST_STACK_SPEC_IN_USE = 0x1807;

// AVL tree.
inline constexpr std::uint32_t QLIX_COMM_AVL_NO_SLOT = 0x1901;  ///< stands in an out slot; never returned
inline constexpr std::uint32_t QLIX_COMM_AVL_KEY_LEN_ZERO = 0x1902;
inline constexpr std::uint32_t QLIX_COMM_AVL_EMPTY = 0x1903;
inline constexpr std::uint32_t QLIX_COMM_AVL_KEY_EXISTS = 0x1904;
inline constexpr std::uint32_t QLIX_COMM_AVL_FULL = 0x1905;
inline constexpr std::uint32_t QLIX_COMM_AVL_KEY_POOL = 0x1906;  ///< the slot's key lies outside the key pool

// Index fill.
inline constexpr std::uint32_t QLIX_COMM_INDEXFILL_FULL = 0x1A01;
inline constexpr std::uint32_t QLIX_COMM_INDEXFILL_KEY_ABSENT = 0x1A02;
