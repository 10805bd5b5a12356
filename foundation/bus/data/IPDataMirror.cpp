#include "foundation/bus/data/IPDataMirror.h"

#include "foundation/bus/data/BlockReader.h"
#include "foundation/bus/data/MirrorWire.h"
#include "foundation/bus/data/MirrorWorker.h"
#include "foundation/platform/Text.h"
#include "foundation/platform/Ticks.h"

#include <random>

namespace alidade {
namespace {

constexpr DWORD kBeatMs = 500;       // values go at least so often, that a replica knows that they hold
constexpr DWORD kDefinitionMs = 100; // a definition goes at most so often
constexpr DWORD kOpenMs = 100;       // the block is looked for so often

std::uint64_t DrawNumber()
{
    std::random_device device;
    return (std::uint64_t{device()} << 32) | device();
}

} // namespace

class CIPDataMirror::CWorker : public CMirrorWorker {
public:
    ~CWorker() override { Stop(); }

private:
    const CStringA& GetInbox() const override { return m_askSubject; }

    void DoStep() override
    {
        m_stop.Wait(static_cast<DWORD>(std::max(1.0, 1000.0 / m_settings.rate)));
        std::string message;
        while (m_link.Receive(message, 0)) {
            NoteAsked(message);
        }
        if (!m_link.IsConnected()) {
            m_isWelcome = false;
            return;
        }
        if (!m_isWelcome) {
            // Whoever listens there has heard nothing for a while.
            m_isWelcome = true;
            m_isAsked = true;
        }
        if (!m_block.IsOpen() && !OpenBlock()) {
            return;
        }
        if (!m_block.IsWriterAlive()) {
            m_block.Close();
            Publish(EncodeMirrorHead(MakeHead(MIRROR_GONE)));
            SetStatus(L"The block's writer has gone", false);
            return;
        }
        try {
            PublishNews();
        } catch (const CIPException& error) {
            SetStatus(error.GetText(), true);
        }
    }

    void NoteAsked(const std::string& message)
    {
        try {
            CArchiveU archive(message.data(), message.size());
            if (DecodeMirrorHead(archive).kind != MIRROR_ASK) {
                throw CArchiveException("it asks for nothing");
            }
            m_isAsked = true;
        } catch (const CArchiveException&) {
            Count(&T_IP_DATA_MIRROR_STATUS::refused);
        }
    }

    bool OpenBlock()
    {
        CString text;
        if (!m_nextOpen.IsOver()) {
            return false;
        }
        m_nextOpen = CDeadline(kOpenMs);
        if (!m_block.Open(m_mapName, text)) {
            SetStatus(text, false);
            return false;
        }
        ++m_run;
        m_isAsked = true;
        m_lastWrite = ~0ull;
        m_nextDefinition = CDeadline(0);
        return true;
    }

    void PublishNews()
    {
        if (m_isAsked && m_nextDefinition.IsOver()) {
            m_nextDefinition = CDeadline(kDefinitionMs);
            if (!Publish(
                    EncodeMirrorDefinition(MakeHead(MIRROR_DEFINITION), m_block.GetDirectory().GetItems()))) {
                return;
            }
            m_isAsked = false;
            m_lastWrite = ~0ull; // the values follow it
        }
        if (m_block.GetWriteCount() == m_lastWrite && !m_nextBeat.IsOver()) {
            return;
        }
        const std::uint64_t write = m_block.ReadAll(m_words);
        if (Publish(EncodeMirrorValues(MakeHead(MIRROR_VALUES), write, m_block.GetDirectory(), m_words))) {
            m_lastWrite = write;
            m_nextBeat = CDeadline(kBeatMs);
            Count(&T_IP_DATA_MIRROR_STATUS::messages);
            SetStatus(L"Sending", true);
        }
    }

    bool Publish(const std::string& message)
    {
        CString text;
        const bool sent = m_link.Publish(m_dataSubject.c_str(), message, text);
        if (!sent) {
            SetStatus(text, m_block.IsOpen());
        }
        return sent;
    }

    T_MIRROR_HEAD MakeHead(eMIRROR_MESSAGE kind) const { return {kind, m_source, m_run}; }

    CBlockReader m_block;
    std::vector<std::uint64_t> m_words;
    const std::uint64_t m_source = DrawNumber();
    std::uint32_t m_run = 0;
    std::uint64_t m_lastWrite = ~0ull; // that was sent
    bool m_isAsked = false;            // the definition is to be sent
    bool m_isWelcome = false;          // the server was there at the last step
    CDeadline m_nextOpen{0};
    CDeadline m_nextDefinition{0};
    CDeadline m_nextBeat{0};
};

CIPDataMirror::CIPDataMirror() = default;
CIPDataMirror::~CIPDataMirror() = default;

int CIPDataMirror::Start(const T_IP_DATA_MIRROR& settings, CString& text)
{
    if (m_worker != nullptr) {
        text = L"The mirror was started already.";
        return 0;
    }
    auto worker = std::make_unique<CWorker>();
    if (worker->Start(settings, "data mirror", text) == 0) {
        return 0;
    }
    m_worker = std::move(worker);
    return 1;
}

void CIPDataMirror::Stop()
{
    m_worker.reset();
}

T_IP_DATA_MIRROR_STATUS CIPDataMirror::GetStatus() const
{
    return m_worker != nullptr ? m_worker->GetStatus() : T_IP_DATA_MIRROR_STATUS();
}

} // namespace alidade
