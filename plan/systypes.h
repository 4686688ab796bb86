#pragma once

#include <QString>

#include <array>
#include <cstdint>

/// One known partition type.
struct SYSTYPE {
    std::uint8_t type;
    const char *name;
};

/// The ten known types, in the order of the type editor's list.
extern const std::array<SYSTYPE, 10> systypes;

/// The name of a type byte, or null for one that the table does not hold.
const char *getsystypename(unsigned char type);

/// What the tree shows for a type byte: its name, else "0x" and lower-case hexadecimal.
QString systypetext(unsigned char type);
