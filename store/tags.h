#pragma once

#include <cstdint>

/// Tags of properties that only the host uses, in addition to those of the message store's headers.
namespace host::tag {

inline constexpr std::uint32_t importance = 0x00170003;
inline constexpr std::uint32_t sender_address_type = 0x0C1E001F;
inline constexpr std::uint32_t sender_smtp_address = 0x5D01001F;
inline constexpr std::uint32_t representing_address = 0x0065001F;
inline constexpr std::uint32_t representing_address_type = 0x0064001F;
inline constexpr std::uint32_t normalized_subject = 0x0E1D001F;
inline constexpr std::uint32_t conversation_topic = 0x0070001F;
inline constexpr std::uint32_t in_reply_to = 0x1042001F;
inline constexpr std::uint32_t body_html = 0x1013001F; ///< HTML as text, if it is not stored as bytes
inline constexpr std::uint32_t message_size = 0x0E080003;
inline constexpr std::uint32_t message_code_page = 0x3FFD0003;
inline constexpr std::uint32_t address_type = 0x3002001F;
inline constexpr std::uint32_t smtp_address = 0x39FE001F;
inline constexpr std::uint32_t attach_extension = 0x3703001F;
inline constexpr std::uint32_t attach_flags = 0x37140003;

} // namespace host::tag
