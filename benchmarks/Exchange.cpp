#include "Exchange.h"

#include <TSLib/Packets.h>

#include <numeric>

namespace
{

std::string bytesOf(const AllPacketType& packet, int size)
{
    return std::string(packet.bytes, static_cast<std::size_t>(size));
}

} // namespace

int Exchange::answerSize() const
{
    return std::accumulate(answer.begin(), answer.end(), 0,
                           [](int sum, const Packet& packet) { return sum + HEADER_SIZE + packet.size; });
}

std::string Exchange::framed(const std::string& payload)
{
    std::string result;
    result += static_cast<char>(payload.size() >> 8);
    result += static_cast<char>(payload.size());
    return result + payload;
}

Exchange Exchange::connect()
{
    AllPacketType packet = {};
    packets::ConnectPacket connect{1, 1};
    packets::setKind(packet, PacketKind::CONNECT);
    packets::encode(packet, WireOrder::host(), connect);
    constexpr int SIZE = packets::ConnectPacket::SIZE;
    return {framed(bytesOf(packet, SIZE)), 1, {{PacketKind::CONNECT, SIZE}}};
}

Exchange Exchange::pose(const std::string& toolName, int count)
{
    AllPacketType packet = {};
    packets::setKind(packet, PacketKind::RIGID_TRANSFORM);
    packets::PacketWriter(packet.bytes, packets::NAME_REQUEST_SIZE, WireOrder::host())(packets::NAME, toolName);
    const std::string request = framed(bytesOf(packet, packets::NAME_REQUEST_SIZE));

    Exchange exchange{{}, count, {}};
    for (int i = 0; i < count; ++i)
    {
        exchange.request += request;
        exchange.answer.push_back({PacketKind::RIGID_TRANSFORM, packets::TransformRecord::SIZE});
    }
    return exchange;
}

Exchange Exchange::allPoses(int numberOfTools)
{
    AllPacketType packet = {};
    packets::setKind(packet, PacketKind::ALL_RIGID_TRANSFORM);
    Exchange exchange{framed(bytesOf(packet, packets::BARE_SIZE)), 1, {}};
    exchange.answer.assign(static_cast<std::size_t>(numberOfTools),
                           {PacketKind::ALL_RIGID_TRANSFORM, packets::ListedTransformRecord::SIZE});
    exchange.answer.push_back({PacketKind::ACKNOWLEDGE, packets::BARE_SIZE});
    return exchange;
}
