#pragma once

#include <cstdint>
#include <cstring>

namespace wireorder
{

template <class Number>
void put(char* bytes, Number value)
{
    std::memcpy(bytes, &value, sizeof value);
}

template <class Number>
Number get(const char* bytes)
{
    Number value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

} // namespace wireorder

/// No conversion at all: this host's own order on the wire. Serves record::Writer and record::Reader.
struct HostOrder
{
    static void putInt(char* bytes, std::int32_t value) { wireorder::put(bytes, value); }
    static std::int32_t getInt(const char* bytes) { return wireorder::get<std::int32_t>(bytes); }
    static void putFloat(char* bytes, float value) { wireorder::put(bytes, value); }
    static float getFloat(const char* bytes) { return wireorder::get<float>(bytes); }
};

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
    bool isHostOrder = false; ///< all four return their argument, and need not be called

    static WireOrder host()
    {
        const IntConversion sameInt = [](std::int32_t value) { return value; };
        const FloatConversion sameFloat = [](float value) { return value; };
        return {sameInt, sameInt, sameFloat, sameFloat, true};
    }

    void putInt(char* bytes, std::int32_t value) const { wireorder::put(bytes, intToWire(value)); }
    std::int32_t getInt(const char* bytes) const { return intFromWire(wireorder::get<std::int32_t>(bytes)); }
    void putFloat(char* bytes, float value) const { wireorder::put(bytes, floatToWire(value)); }
    float getFloat(const char* bytes) const { return floatFromWire(wireorder::get<float>(bytes)); }
};
