#pragma once

/// The first byte of every packet. Requests are 21 to 38 and 50; an answer bears its request's kind, ACKNOWLEDGE or
/// FAILURE.
enum class PacketKind : unsigned char
{
    ACKNOWLEDGE = 20,
    CONNECT = 21,
    STATUS = 22,
    TOOL_CHECK = 23,
    FRAME_OF_REFERENCE = 24,
    MARKER = 25,
    ALL_MARKER = 26,
    IMAGINARY = 27,
    ALL_IMAGINARY = 28,
    RIGID_TRANSFORM = 29,
    ALL_RIGID_TRANSFORM = 30,
    NEAREST_TOOL = 31,
    SWITCH = 32,
    ALL_RIGID_TRANSFORM_ON_SWITCH = 33,
    ADD_NORMAL_VECTORS = 34,
    CALIBRATE = 35,
    TOOL_INIT = 36,
    ALLOWED_NEAREST_TOOL = 37,
    GET_NORMAL_VECTOR = 38,
    EXIT = 50,
    FAILURE = 99 ///< an error packet (not named ERROR, which is a macro of Windows)
};
