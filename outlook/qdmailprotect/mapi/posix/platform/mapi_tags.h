#pragma once

#include <cstdint>

// Property types, and the property tags that the Windows headers define too.

inline constexpr std::uint32_t MV_FLAG = 0x1000;
inline constexpr std::uint32_t PT_UNSPECIFIED = 0;
inline constexpr std::uint32_t PT_NULL = 1;
inline constexpr std::uint32_t PT_I2 = 2;
inline constexpr std::uint32_t PT_LONG = 3;
inline constexpr std::uint32_t PT_R4 = 4;
inline constexpr std::uint32_t PT_DOUBLE = 5;
inline constexpr std::uint32_t PT_CURRENCY = 6;
inline constexpr std::uint32_t PT_APPTIME = 7;
inline constexpr std::uint32_t PT_ERROR = 10;
inline constexpr std::uint32_t PT_BOOLEAN = 11;
inline constexpr std::uint32_t PT_OBJECT = 13;
inline constexpr std::uint32_t PT_I8 = 20;
inline constexpr std::uint32_t PT_STRING8 = 30;
inline constexpr std::uint32_t PT_UNICODE = 31;
inline constexpr std::uint32_t PT_SYSTIME = 64;
inline constexpr std::uint32_t PT_CLSID = 72;
inline constexpr std::uint32_t PT_BINARY = 258;

constexpr std::uint32_t PROP_TYPE(std::uint32_t tag) noexcept
{
    return tag & 0xFFFFU;
}
constexpr std::uint32_t PROP_ID(std::uint32_t tag) noexcept
{
    return tag >> 16;
}
constexpr std::uint32_t PROP_TAG(std::uint32_t type, std::uint32_t id) noexcept
{
    return id << 16 | type;
}
constexpr std::uint32_t CHANGE_PROP_TYPE(std::uint32_t tag, std::uint32_t type) noexcept
{
    return (tag & 0xFFFF0000U) | type;
}

inline constexpr std::uint32_t PR_MESSAGE_CLASS_W = 0x001A001F;
inline constexpr std::uint32_t PR_SUBJECT_W = 0x0037001F;
inline constexpr std::uint32_t PR_CLIENT_SUBMIT_TIME = 0x00390040;
inline constexpr std::uint32_t PR_SENT_REPRESENTING_NAME_W = 0x0042001F;
inline constexpr std::uint32_t PR_TRANSPORT_MESSAGE_HEADERS_W = 0x007D001F;
inline constexpr std::uint32_t PR_RECIPIENT_TYPE = 0x0C150003;
inline constexpr std::uint32_t PR_SENDER_NAME_W = 0x0C1A001F;
inline constexpr std::uint32_t PR_SENDER_EMAIL_ADDRESS_W = 0x0C1F001F;
inline constexpr std::uint32_t PR_DISPLAY_BCC_W = 0x0E02001F;
inline constexpr std::uint32_t PR_DISPLAY_CC_W = 0x0E03001F;
inline constexpr std::uint32_t PR_DISPLAY_TO_W = 0x0E04001F;
inline constexpr std::uint32_t PR_MESSAGE_DELIVERY_TIME = 0x0E060040;
inline constexpr std::uint32_t PR_MESSAGE_FLAGS = 0x0E070003;
inline constexpr std::uint32_t PR_HASATTACH = 0x0E1B000B;
inline constexpr std::uint32_t PR_ATTACH_SIZE = 0x0E200003;
inline constexpr std::uint32_t PR_ATTACH_NUM = 0x0E210003;
inline constexpr std::uint32_t PR_ENTRYID = 0x0FFF0102;
inline constexpr std::uint32_t PR_BODY_A = 0x1000001E;
inline constexpr std::uint32_t PR_BODY_W = 0x1000001F;
inline constexpr std::uint32_t PR_RTF_COMPRESSED = 0x10090102;
inline constexpr std::uint32_t PR_DISPLAY_NAME_W = 0x3001001F;
inline constexpr std::uint32_t PR_EMAIL_ADDRESS_W = 0x3003001F;
inline constexpr std::uint32_t PR_STORE_SUPPORT_MASK = 0x340D0003;
inline constexpr std::uint32_t PR_ATTACH_DATA_BIN = 0x37010102;
inline constexpr std::uint32_t PR_ATTACH_DATA_OBJ = 0x3701000D;
inline constexpr std::uint32_t PR_ATTACH_FILENAME_W = 0x3704001F;
inline constexpr std::uint32_t PR_ATTACH_METHOD = 0x37050003;
inline constexpr std::uint32_t PR_ATTACH_LONG_FILENAME_W = 0x3707001F;
inline constexpr std::uint32_t PR_RENDERING_POSITION = 0x370B0003;
inline constexpr std::uint32_t PR_ATTACH_MIME_TAG_W = 0x370E001F;
