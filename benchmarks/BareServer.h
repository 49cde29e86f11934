#pragma once

/// What the tool server is compared with: a server that does nothing but receive requests and send answers of the same
/// sizes, made beforehand. Each client has a thread that waits for a header, then for its payload, and sends.
namespace bareServer
{

enum class Sends
{
    ONE, ///< an answer leaves in one send, however many packets it has
    EACH ///< each packet of an answer leaves in a send of its own
};

/// Prints "listening on 127.0.0.1:PORT" and serves until standard input ends; answers about all tools tell of
/// `numberOfTools`. Returns the program's exit status.
int run(int numberOfTools, Sends sends);

} // namespace bareServer
