// Generic netlink: the two messages that the tool sends and reads. Everything received is checked against the number of
// bytes that came in before it is read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

inline constexpr size_t GENL_BUFFER_SIZE = 14020;

/// Sends one command with one attribute to the kernel. Returns 0, or -1 for type 0, data that does not fit the buffer,
/// or a failed send.
int32_t tarn_genl_send_msg(int socket, uint16_t type, uint32_t port_id, uint8_t command, uint8_t version,
                           uint16_t attribute_type, const void* data, uint16_t length);

/// Asks the controller for the id of a family. Returns it, 0 when the answer names none, or all ones with a message.
uint32_t tarn_genl_get_family_id(int socket, const char* family_name);

/// What stands at the head of a received message.
enum class genl_header { good, malformed };

/// Checks the header of the `received` bytes and tells the message's type (0 when it did not arrive) and its length.
genl_header genl_header_read(std::span<const uint8_t> received, uint16_t* type, std::span<const uint8_t>* message);

/// The family id in the controller's answer, 0 when the second attribute is not the id.
uint16_t genl_family_id_read(std::span<const uint8_t> message);

/// The data of a message's first attribute; empty when the message is too short for what the attribute claims.
std::span<const uint8_t> genl_notice_read(std::span<const uint8_t> message);
