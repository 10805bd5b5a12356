#pragma once

#include "foundation/bus/transport/PeerLink.h"
#include "foundation/bus/transport/Transport.h"

#include <span>
#include <string_view>

namespace alidade {

/// Kinds of messages between processes; the numbers are those of the wire (docs/bus-transports.md).
enum eTRANSPORT_MESSAGE : unsigned {
    TRANSPORT_HELLO = 0,    // who I am and what I answer
    TRANSPORT_COMMANDS = 1, // what I answer has changed
    TRANSPORT_REQUEST = 2,
    TRANSPORT_REPLY = 3,
    TRANSPORT_GIVE_UP = 4, // the sender of a request waits no longer
    TRANSPORT_PROBLEM = 5, // the last message was not understood; the connection ends
    TRANSPORT_LEAVE = 6,   // I leave the bus
    TRANSPORT_ALIVE = 7,   // I am still there
    TRANSPORT_PART = 8,    // a piece of a message that is too large for the server
    TRANSPORT_TAKEN = 9,   // so much of the large message has come
    TRANSPORT_CHANNEL = 10 // this local connection is for requests of a process, one at a time
};

constexpr unsigned kTransportVersion = 1;
constexpr std::size_t kLargestMessage = std::size_t{256} << 20;
constexpr std::size_t kMostRecords = 100000;

/// An id may stand in a file's name and in a subject: letters, digits, dashes and underscores, 1 to 64.
bool IsTransportId(std::string_view id);

/// A decoded message; what its kind does not have is left as it is made.
struct T_TRANSPORT_MESSAGE {
    unsigned kind = 0;
    std::uint64_t number = 0; // of a request, or of a large message
    std::uint64_t change = 0; // of what the sender answers; later ones are greater
    CStringA id;              // of the sender: HELLO, ALIVE
    CStringA text;            // the sender's name (HELLO), or what was wrong (PROBLEM)
    std::vector<T_IP_COMMAND_RECORD> records;
    bool wantsAnswer = false; // HELLO: with another HELLO
    bool channels = false;    // HELLO: it takes CHANNEL
    std::uint64_t after = 0;  // REQUEST on a channel: messages of the main connection that come before it
    T_IP_REQUEST request;
    T_IP_REPLY reply;
    std::uint64_t offset = 0; // PART: of its bytes in the whole; TAKEN: bytes that have come
    std::uint64_t total = 0;  // PART: size of the whole
    T_TRANSPORT_BYTES part;
};

T_TRANSPORT_FRAME EncodeHello(const CStringA& id, const CString& name, std::uint64_t change,
                              const std::vector<T_IP_COMMAND_RECORD>& records, bool wantsAnswer,
                              bool channels);
T_TRANSPORT_FRAME EncodeCommands(std::uint64_t change, const std::vector<T_IP_COMMAND_RECORD>& records);
/// @param error  receives the reason when the parameter cannot travel (too large, nested too deep)
bool EncodeRequest(std::uint64_t number, const T_IP_REQUEST& request, std::uint64_t after,
                   T_TRANSPORT_FRAME& frame, CString& error);
/// A result that cannot travel goes as a failure that says so.
T_TRANSPORT_FRAME EncodeReply(std::uint64_t number, const T_IP_REPLY& reply);
T_TRANSPORT_FRAME EncodeGiveUp(std::uint64_t number);
T_TRANSPORT_FRAME EncodeProblem(const CString& text);
T_TRANSPORT_FRAME EncodeLeave(const CStringA& id);
T_TRANSPORT_FRAME EncodeChannel(const CStringA& id);
T_TRANSPORT_FRAME EncodeAlive(const CStringA& id, std::uint64_t change);
T_TRANSPORT_FRAME EncodePart(std::uint64_t number, std::uint64_t offset, std::uint64_t total,
                             std::span<const std::uint8_t> bytes);
T_TRANSPORT_FRAME EncodeTaken(std::uint64_t number, std::uint64_t offset);

/// Reads a message. Large raw blocks are shared with the bytes' owner when there is one.
/// @param error  what is wrong: one sentence
/// @return false for anything malformed. The kind and number are there as far as they could be read, so that
///         a request with a bad parameter can be answered
bool DecodeTransportMessage(const T_TRANSPORT_BYTES& bytes, T_TRANSPORT_MESSAGE& message, CString& error);

} // namespace alidade
