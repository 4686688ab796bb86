#include "plan/systypes.h"

const std::array<SYSTYPE, 10> systypes = {{
    {0x05, "Extended"},
    {0x06, "FAT16"},
    {0x07, "NTFS"},
    {0x0B, "FAT32"},
    {0x0C, "FAT32(BIG)"},
    {0x0E, "FAT16(BIG)"},
    {0x0F, "Extended(BIG)"},
    {0x82, "Linux Swap"},
    {0x83, "Linux"},
    {0x85, "Linux Extended"},
}};

const char *getsystypename(unsigned char type)
{
    for (const SYSTYPE &known : systypes) {
        if (known.type == type)
            return known.name;
    }
    return nullptr;
}

QString systypetext(unsigned char type)
{
    if (const char *name = getsystypename(type))
        return QString::fromLatin1(name);
    return QString("0x%1").arg(static_cast<unsigned>(type), 0, 16);
}
