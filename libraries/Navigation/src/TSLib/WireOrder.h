#pragma once

#include <cstdint>
#include <cstring>

/// How one connection converts the numbers of its packets: through conversion functions from value to value that are
/// chosen when it connects. The converted value's bytes are what travels. Serves record::Writer and record::Reader.
struct WireOrder
{
    using IntConversion = std::int32_t (*)(std::int32_t);
    using FloatConversion = float (*)(float);

    IntConversion intToWire;
    IntConversion intFromWire;
    FloatConversion floatToWire;
    FloatConversion floatFromWire;

    /// No conversion at all: this host's own order on the wire.
    static WireOrder host()
    {
        const IntConversion sameInt = [](std::int32_t value) { return value; };
        const FloatConversion sameFloat = [](float value) { return value; };
        return {sameInt, sameInt, sameFloat, sameFloat};
    }

    void putInt(char* bytes, std::int32_t value) const { put(bytes, intToWire(value)); }
    std::int32_t getInt(const char* bytes) const { return intFromWire(get<std::int32_t>(bytes)); }
    void putFloat(char* bytes, float value) const { put(bytes, floatToWire(value)); }
    float getFloat(const char* bytes) const { return floatFromWire(get<float>(bytes)); }

private:
    template <class Number>
    static void put(char* bytes, Number value)
    {
        std::memcpy(bytes, &value, sizeof value);
    }
    template <class Number>
    static Number get(const char* bytes)
    {
        Number value;
        std::memcpy(&value, bytes, sizeof value);
        return value;
    }
};
