#include "wire/ethtool.h"

#include <algorithm>
#include <cerrno>

#include "interface_request.h"
#include "module.h"

namespace vcard {

namespace {

enum Command : uint32_t { module_information = 0x42, module_eeprom = 0x43 };

// Information: command, type, length. EEPROM: command, magic, offset, length, then the bytes.
constexpr size_t eeprom_header_size = 16;

}  // namespace

EthtoolWire::EthtoolWire(Card& card) : card_(card) {
  const CardSection modules = card.file().section("modules");
  for (const std::string& name : modules.keys()) {
    const bool known = std::any_of(card.functions().begin(), card.functions().end(),
                                   [&](const PciFunction& function) { return function.interface == name; });
    if (!known) {
      modules.complain(name, "not an interface of the card");
    }
  }
  for (const PciFunction& function : card.functions()) {
    if (!function.interface.empty() && function.driver == card_driver) {
      modules_[function.interface] = std::make_unique<Module>(module_load(modules.section(function.interface.c_str())));
    }
  }
}

EthtoolWire::~EthtoolWire() = default;

int EthtoolWire::information_answer(const TrappedCall& call, uint64_t address, const Module& module) const {
  Bytes information;
  put_le<uint32_t>(information, 0, module_information);
  put_le<uint32_t>(information, 4, module.type);
  put_le<uint32_t>(information, 8, module.length);
  return call.write({{address, information}}) ? 0 : EFAULT;
}

int EthtoolWire::eeprom_answer(const TrappedCall& call, uint64_t address, const Module& module) const {
  Bytes header(eeprom_header_size);
  if (!call.read(address, header.data(), header.size())) {
    return EFAULT;
  }
  const uint64_t offset = get_le<uint32_t>(header, 8);
  const uint64_t length = get_le<uint32_t>(header, 12);
  card_.log().line("module_read offset=%llu length=%llu", static_cast<unsigned long long>(offset),
                   static_cast<unsigned long long>(length));
  if (length == 0 || offset + length > module.length) {
    return EINVAL;
  }
  // What the driver promises beyond the real EEPROM reads as zero.
  Bytes bytes(std::min<uint64_t>({length, module.answer_max, 4096}));
  for (size_t i = 0; i < bytes.size() && offset + i < module.eeprom.size(); ++i) {
    bytes[i] = module.eeprom[offset + i];
  }
  put_le<uint32_t>(header, 12, static_cast<uint32_t>(bytes.size()));
  header.insert(header.end(), bytes.begin(), bytes.end());
  return call.write({{address, header}}) ? 0 : EFAULT;
}

int EthtoolWire::answer(const TrappedCall& call, const std::string& interface, uint64_t address) const {
  const auto module = modules_.find(interface);
  if (module == modules_.end()) {
    return ENODEV;
  }
  Bytes command(4);
  if (!call.read(address, command.data(), command.size())) {
    return EFAULT;
  }
  switch (get_le<uint32_t>(command, 0)) {
    case module_information:
      return module->second->error != 0 ? module->second->error : information_answer(call, address, *module->second);
    case module_eeprom:
      return module->second->error != 0 ? module->second->error : eeprom_answer(call, address, *module->second);
    default:
      return EOPNOTSUPP;
  }
}

void EthtoolWire::handle(TrappedCall& call) {
  const bool is_socket = call.descriptor_target(static_cast<int>(call.argument(0))).rfind("socket:", 0) == 0;
  InterfaceRequest request;
  if (!interface_request_take(call, is_socket, &request)) {
    return;
  }
  const std::string& interface = request.interface;
  const int error = answer(call, interface, request.address);
  card_.log().line("ethtool interface=%s errno=%d", interface.c_str(), error);
  if (error != 0) {
    call.fail(error);
  } else {
    call.finish(0);
  }
}

}  // namespace vcard
