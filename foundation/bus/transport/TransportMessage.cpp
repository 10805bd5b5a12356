#include "foundation/bus/transport/TransportMessage.h"

#include "foundation/bus/wire/VariableCbor.h"
#include "foundation/platform/Text.h"

namespace alidade {
namespace {

constexpr std::uint64_t kWantsReply = 1;
constexpr std::uint64_t kAbortWithSender = 2;

/// A message in the making: an array whose first element is the kind.
class CMessageWriter {
public:
    CMessageWriter(T_TRANSPORT_FRAME& frame, eTRANSPORT_MESSAGE kind, unsigned elements)
        : writer(frame.bytes, &frame.blocks)
    {
        frame.bytes.reserve(256);
        writer.BeginArray(1 + elements);
        writer.WriteUnsigned(kind);
    }
    CCborWriter writer;
};

void WriteRecords(CCborWriter& writer, const std::vector<T_IP_COMMAND_RECORD>& records)
{
    writer.BeginArray(records.size());
    for (const T_IP_COMMAND_RECORD& record : records) {
        writer.BeginArray(5);
        writer.WriteText(record.task);
        writer.WriteText(record.unit);
        writer.WriteText(record.group);
        writer.WriteText(record.name);
        writer.WriteUnsigned(record.flag);
    }
}

/// Reads the elements of a message one by one. A message of a later version may have more than are known.
class CMessageReader {
public:
    CMessageReader(const T_TRANSPORT_BYTES& bytes, T_TRANSPORT_MESSAGE& message)
        : m_reader({bytes.data, bytes.size}, {}, bytes.owner), m_message(message)
    {
    }

    bool Read()
    {
        std::uint64_t kind = 0;
        if (!m_reader.BeginArray(m_elements) || !Next() || !m_reader.ReadUnsigned(kind, UINT32_MAX)) {
            return false;
        }
        m_message.kind = static_cast<unsigned>(kind);
        if (!ReadRest()) {
            return false;
        }
        while (m_reader.HasMore(m_elements)) {
            if (!m_reader.Skip()) {
                return false;
            }
        }
        return m_reader.Finish();
    }
    const CString& GetError() const { return m_reader.GetError(); }

private:
    bool More() { return m_reader.HasMore(m_elements); }
    bool Next() { return m_reader.HasMore(m_elements) || m_reader.Fail(L"a message is too short"); }
    bool Number(std::uint64_t& value) { return Next() && m_reader.ReadUnsigned(value); }
    bool Text(CStringA& text) { return Next() && m_reader.ReadText(text); }
    bool Truth(bool& value) { return Next() && m_reader.ReadBool(value); }
    bool Variable(CIPVariable& variable)
    {
        return Next() && (m_reader.SkipNull() || (m_reader.IsOk() && ReadVariable(m_reader, variable)));
    }
    bool Id()
    {
        return Text(m_message.id) &&
               (IsTransportId(m_message.id) || m_reader.Fail(L"that is no name of a process"));
    }

    bool ReadRest()
    {
        T_TRANSPORT_MESSAGE& m = m_message;
        switch (m.kind) {
        case TRANSPORT_HELLO: {
            std::uint64_t version = 0;
            if (!Number(version)) {
                return false;
            }
            if (version != kTransportVersion) {
                return m_reader.Fail(Format(L"version %llu of the messages is not known",
                                            static_cast<unsigned long long>(version)));
            }
            return Id() && Text(m.text) && Number(m.change) && Records() && Truth(m.wantsAnswer) &&
                   (!More() || m_reader.ReadBool(m.channels));
        }
        case TRANSPORT_COMMANDS:
            return Number(m.change) && Records();
        case TRANSPORT_REQUEST:
            return Number(m.number) && Request();
        case TRANSPORT_REPLY:
            return Number(m.number) && Reply();
        case TRANSPORT_GIVE_UP:
            return Number(m.number);
        case TRANSPORT_PROBLEM:
            return Text(m.text);
        case TRANSPORT_LEAVE:
        case TRANSPORT_CHANNEL:
            return Id();
        case TRANSPORT_ALIVE:
            return Id() && Number(m.change);
        case TRANSPORT_PART:
            return Number(m.number) && Number(m.offset) && Number(m.total) && Part();
        case TRANSPORT_TAKEN:
            return Number(m.number) && Number(m.offset);
        default:
            return true;
        }
    }

    bool Records()
    {
        CCborReader::T_SEQUENCE records;
        if (!Next() || !m_reader.BeginArray(records)) {
            return false;
        }
        while (m_reader.HasMore(records)) {
            if (m_message.records.size() >= kMostRecords) {
                return m_reader.Fail(L"a process cannot answer so many commands");
            }
            CCborReader::T_SEQUENCE fields;
            T_IP_COMMAND_RECORD record;
            std::uint64_t flag = 0;
            const bool good = m_reader.BeginArray(fields) && m_reader.HasMore(fields) &&
                              m_reader.ReadText(record.task) && m_reader.HasMore(fields) &&
                              m_reader.ReadText(record.unit) && m_reader.HasMore(fields) &&
                              m_reader.ReadText(record.group) && m_reader.HasMore(fields) &&
                              m_reader.ReadText(record.name) && m_reader.HasMore(fields) &&
                              m_reader.ReadUnsigned(flag, UINT32_MAX);
            if (!good) {
                return m_reader.Fail(L"a command is task, unit, group, name and flag");
            }
            while (m_reader.HasMore(fields)) {
                if (!m_reader.Skip()) {
                    return false;
                }
            }
            record.flag = static_cast<DWORD>(flag);
            m_message.records.push_back(std::move(record));
        }
        return m_reader.IsOk();
    }

    bool Request()
    {
        T_IP_REQUEST& request = m_message.request;
        if (!Text(request.task) || !Text(request.unit) || !Text(request.group) || !Text(request.name) ||
            !Next()) {
            return false;
        }
        std::uint64_t timeout = INFINITE;
        std::uint64_t flags = 0;
        if ((!m_reader.SkipNull() && !m_reader.ReadUnsigned(timeout, INFINITE)) || !Number(flags)) {
            return false;
        }
        request.timeout = static_cast<DWORD>(timeout);
        request.wantsReply = (flags & kWantsReply) != 0;
        request.abortWithSender = (flags & kAbortWithSender) != 0;
        return Variable(request.parameter) && (!More() || m_reader.ReadUnsigned(m_message.after));
    }

    bool Reply()
    {
        T_IP_REPLY& reply = m_message.reply;
        CStringA error;
        if (!Truth(reply.ok) || !Text(error)) {
            return false;
        }
        reply.error = ToWide(error);
        return Variable(reply.result);
    }

    bool Part()
    {
        if (!Next()) {
            return false;
        }
        std::span<const std::uint8_t> view;
        if (!m_reader.ReadBytes(view, m_pieces)) {
            return false;
        }
        if (!m_pieces.empty()) {
            return m_reader.Fail(L"the bytes of a part are to come in one piece");
        }
        m_message.part = {view.data(), view.size(), m_reader.GetOwner()};
        return true;
    }

    CCborReader m_reader;
    CCborReader::T_SEQUENCE m_elements;
    T_TRANSPORT_MESSAGE& m_message;
    std::vector<std::uint8_t> m_pieces;
};

} // namespace

bool IsTransportId(std::string_view id)
{
    constexpr const char* kAllowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    return !id.empty() && id.size() <= 64 && id.find_first_not_of(kAllowed) == id.npos;
}

T_TRANSPORT_FRAME EncodeHello(const CStringA& id, const CString& name, std::uint64_t change,
                              const std::vector<T_IP_COMMAND_RECORD>& records, bool wantsAnswer,
                              bool channels)
{
    T_TRANSPORT_FRAME frame;
    CMessageWriter message(frame, TRANSPORT_HELLO, 7);
    CCborWriter& writer = message.writer;
    writer.WriteUnsigned(kTransportVersion);
    writer.WriteText(id);
    writer.WriteText(ToNarrow(name));
    writer.WriteUnsigned(change);
    WriteRecords(writer, records);
    writer.WriteBool(wantsAnswer);
    writer.WriteBool(channels);
    return frame;
}

T_TRANSPORT_FRAME EncodeCommands(std::uint64_t change, const std::vector<T_IP_COMMAND_RECORD>& records)
{
    T_TRANSPORT_FRAME frame;
    CMessageWriter message(frame, TRANSPORT_COMMANDS, 2);
    message.writer.WriteUnsigned(change);
    WriteRecords(message.writer, records);
    return frame;
}

namespace {

/// False, with the reason, for a variable that a peer would refuse.
bool CanTravel(const CIPVariable& variable, CString& error)
{
    return CheckVariable(variable, error);
}

bool IsSmallEnough(const T_TRANSPORT_FRAME& frame, CString& error)
{
    if (frame.GetSize() > kLargestMessage) {
        error = Format(L"The message has more than %zu bytes", kLargestMessage);
        return false;
    }
    return true;
}

T_TRANSPORT_FRAME EncodeNumbers(eTRANSPORT_MESSAGE kind, std::initializer_list<std::uint64_t> numbers)
{
    T_TRANSPORT_FRAME frame;
    CMessageWriter message(frame, kind, static_cast<unsigned>(numbers.size()));
    for (const std::uint64_t number : numbers) {
        message.writer.WriteUnsigned(number);
    }
    return frame;
}

} // namespace

bool EncodeRequest(std::uint64_t number, const T_IP_REQUEST& request, std::uint64_t after,
                   T_TRANSPORT_FRAME& frame, CString& error)
{
    if (!CanTravel(request.parameter, error)) {
        return false;
    }
    CMessageWriter message(frame, TRANSPORT_REQUEST, after != 0 ? 9 : 8);
    CCborWriter& writer = message.writer;
    writer.WriteUnsigned(number);
    writer.WriteText(request.task);
    writer.WriteText(request.unit);
    writer.WriteText(request.group);
    writer.WriteText(request.name);
    if (request.timeout == INFINITE) {
        writer.WriteNull();
    } else {
        writer.WriteUnsigned(request.timeout);
    }
    writer.WriteUnsigned((request.wantsReply ? kWantsReply : 0) |
                         (request.abortWithSender ? kAbortWithSender : 0));
    WriteVariable(writer, request.parameter);
    if (after != 0) {
        writer.WriteUnsigned(after);
    }
    return IsSmallEnough(frame, error);
}

T_TRANSPORT_FRAME EncodeReply(std::uint64_t number, const T_IP_REPLY& reply)
{
    T_TRANSPORT_FRAME frame;
    CString error;
    const bool travels = CanTravel(reply.result, error);
    {
        CMessageWriter message(frame, TRANSPORT_REPLY, 4);
        CCborWriter& writer = message.writer;
        writer.WriteUnsigned(number);
        writer.WriteBool(reply.ok && travels);
        writer.WriteText(ToNarrow(travels ? reply.error : L"The result cannot be sent: " + error));
        if (travels) {
            WriteVariable(writer, reply.result);
        } else {
            writer.WriteNull();
        }
    }
    if (!IsSmallEnough(frame, error)) {
        T_IP_REPLY failure;
        failure.error = L"The result cannot be sent: " + error;
        return EncodeReply(number, failure);
    }
    return frame;
}

T_TRANSPORT_FRAME EncodeGiveUp(std::uint64_t number)
{
    return EncodeNumbers(TRANSPORT_GIVE_UP, {number});
}

T_TRANSPORT_FRAME EncodeProblem(const CString& text)
{
    T_TRANSPORT_FRAME frame;
    CMessageWriter message(frame, TRANSPORT_PROBLEM, 1);
    message.writer.WriteText(ToNarrow(text));
    return frame;
}

T_TRANSPORT_FRAME EncodeLeave(const CStringA& id)
{
    T_TRANSPORT_FRAME frame;
    CMessageWriter message(frame, TRANSPORT_LEAVE, 1);
    message.writer.WriteText(id);
    return frame;
}

T_TRANSPORT_FRAME EncodeChannel(const CStringA& id)
{
    T_TRANSPORT_FRAME frame;
    CMessageWriter message(frame, TRANSPORT_CHANNEL, 1);
    message.writer.WriteText(id);
    return frame;
}

T_TRANSPORT_FRAME EncodeAlive(const CStringA& id, std::uint64_t change)
{
    T_TRANSPORT_FRAME frame;
    CMessageWriter message(frame, TRANSPORT_ALIVE, 2);
    message.writer.WriteText(id);
    message.writer.WriteUnsigned(change);
    return frame;
}

T_TRANSPORT_FRAME EncodePart(std::uint64_t number, std::uint64_t offset, std::uint64_t total,
                             std::span<const std::uint8_t> bytes)
{
    T_TRANSPORT_FRAME frame;
    frame.bytes.reserve(bytes.size() + 64);
    CMessageWriter message(frame, TRANSPORT_PART, 4);
    message.writer.WriteUnsigned(number);
    message.writer.WriteUnsigned(offset);
    message.writer.WriteUnsigned(total);
    message.writer.WriteBytes(bytes.data(), bytes.size());
    return frame;
}

T_TRANSPORT_FRAME EncodeTaken(std::uint64_t number, std::uint64_t offset)
{
    return EncodeNumbers(TRANSPORT_TAKEN, {number, offset});
}

bool DecodeTransportMessage(const T_TRANSPORT_BYTES& bytes, T_TRANSPORT_MESSAGE& message, CString& error)
{
    CMessageReader reader(bytes, message);
    if (!reader.Read()) {
        error = reader.GetError();
        return false;
    }
    return true;
}

} // namespace alidade
