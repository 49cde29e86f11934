#pragma once

#include <TSLib/PacketKind.h>

#include <string>
#include <vector>

/// What a client sends in one go and what has to come back, byte for byte as it travels: each packet behind its 2-byte
/// length.
struct Exchange
{
    /// A packet of the answer.
    struct Packet
    {
        PacketKind kind;
        int size; ///< without its header
    };

    std::string request;
    int numberOfRequests;
    std::vector<Packet> answer;

    int answerSize() const; ///< in bytes, headers included

    /// Agrees on this protocol version and this host's byte order.
    static Exchange connect();
    /// The pose of one tool, asked `count` times in one send.
    static Exchange pose(const std::string& toolName, int count);
    /// The poses of all tools, of which there are `numberOfTools` in view.
    static Exchange allPoses(int numberOfTools);

    /// The bytes of a packet behind its header.
    static std::string framed(const std::string& payload);

    static constexpr int HEADER_SIZE = 2;
};
