#pragma once

/// One packet of the tracking protocol, as large as the largest kind: the kind in the first byte, then a body whose
/// layout depends on it (Packets.h). A request is answered in place: what an answer does not write keeps the request's
/// bytes.
struct alignas(4) AllPacketType
{
    static constexpr int SIZE = 560;

    char bytes[SIZE];
};
