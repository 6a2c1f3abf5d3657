#pragma once

// One hexadecimal digit, either case.
struct HXHexDigit
{
    // The digit's value (0 to 15), or -1 when `c` is not a hexadecimal digit.
    static constexpr int value(char32_t c)
    {
        if (c >= U'0' && c <= U'9')
            return int(c - U'0');
        if (c >= U'a' && c <= U'f')
            return int(c - U'a') + 10;
        if (c >= U'A' && c <= U'F')
            return int(c - U'A') + 10;
        return -1;
    }
};
