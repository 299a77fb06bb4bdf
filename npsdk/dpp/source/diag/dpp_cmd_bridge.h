// From the words of a command to the parameters of a function.
#pragma once

#include <cstdint>
#include <utility>

#include "dpp_diag/dpp_cmd.h"

template <typename... Params, size_t... Places>
uint32_t dpp_cmd_spread(uint32_t (*function)(Params...), const uint32_t* values, std::index_sequence<Places...>) {
  return function(static_cast<Params>(values[Places])...);
}

template <typename... Params>
uint32_t dpp_cmd_apply(uint32_t (*function)(Params...), const DppCmdArgs& args) {
  static_assert(sizeof...(Params) <= DPP_CMD_ARG_MAX);
  return dpp_cmd_spread(function, args.value, std::index_sequence_for<Params...>());
}

inline uint32_t dpp_cmd_apply(uint32_t (*function)(const char*), const DppCmdArgs& args) {
  return function(args.text);
}

template <auto Function>
struct dpp_cmd_bridge {
  static uint32_t call(const DppCmdEntry& /*self*/, const DppCmdArgs& args) {
    return dpp_cmd_apply(Function, args);
  }
};
