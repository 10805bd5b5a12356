#include "foundation/bus/data/IPDataReplica.h"

#include "foundation/bus/data/BlockWriter.h"
#include "foundation/bus/data/MirrorWire.h"
#include "foundation/bus/data/MirrorWorker.h"
#include "foundation/platform/Text.h"
#include "foundation/platform/Ticks.h"

#include <algorithm>

namespace alidade {
namespace {

constexpr DWORD kReceiveMs = 50;
constexpr DWORD kAskMs = 250;

bool IsSame(const std::vector<T_IP_DATA_ITEM>& a, const std::vector<T_IP_DATA_ITEM>& b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto& x, const auto& y) {
        return x.path == y.path && x.type == y.type && (x.capacity == y.capacity || x.type != IPDATA_STRING);
    });
}

} // namespace

class CIPDataReplica::CWorker : public CMirrorWorker {
public:
    ~CWorker() override { Stop(); }

private:
    const CStringA& GetInbox() const override { return m_dataSubject; }

    void DoStep() override
    {
        std::string message;
        if (m_link.Receive(message, kReceiveMs)) {
            Take(message);
        } else if (!m_link.IsConnected()) {
            m_stop.Wait(kReceiveMs);
        }
        if (m_isFollowing && IsTimedout(m_lastHeard, m_settings.silence, GetTickCount())) {
            m_isFollowing = false;
            TakeDown(L"Nothing is heard any more");
        }
        if ((!m_isFollowing || m_isLost) && m_nextAsk.IsOver() && m_link.IsConnected()) {
            CString text;
            m_nextAsk = CDeadline(kAskMs);
            m_link.Publish(m_askSubject.c_str(), EncodeMirrorHead({MIRROR_ASK}), text);
        }
    }

    void Take(const std::string& message)
    {
        try {
            CArchiveU archive(message.data(), message.size());
            const T_MIRROR_HEAD head = DecodeMirrorHead(archive);
            if (m_isFollowing && head.source != m_source) {
                throw CArchiveException("another mirror sends the same block");
            }
            switch (head.kind) {
            case MIRROR_DEFINITION:
                TakeDefinition(head, archive);
                break;
            case MIRROR_VALUES:
                TakeValues(head, archive);
                break;
            case MIRROR_GONE:
                if (m_isFollowing && head.run == m_run) {
                    m_isFollowing = false;
                    TakeDown(L"The block's writer has gone");
                }
                break;
            case MIRROR_ASK:
                break;
            }
        } catch (const CArchiveException& error) {
            Count(&T_IP_DATA_MIRROR_STATUS::refused);
            SetStatus(Format(L"A message was refused: %S", error.what()), m_block.IsOpen());
        }
    }

    void TakeDefinition(const T_MIRROR_HEAD& head, CArchiveU& archive)
    {
        const std::vector<T_IP_DATA_ITEM> items = DecodeMirrorDefinition(archive);
        CBlockDirectory directory;
        CString text;
        if (!directory.Plan(items, text)) {
            throw CArchiveException(ToNarrow(text));
        }
        // One that is sent again, since another replica has asked for it, changes nothing here.
        if (!m_block.IsOpen() || !IsSame(items, m_block.GetDirectory().GetItems())) {
            m_block.Close();
            if (!m_block.Create(m_mapName, items, text)) {
                SetStatus(text, false);
                return;
            }
        }
        m_source = head.source;
        m_run = head.run;
        m_write = 0;
        m_isFollowing = true;
        m_isLost = false;
        m_lastHeard = GetTickCount();
    }

    void TakeValues(const T_MIRROR_HEAD& head, CArchiveU& archive)
    {
        m_isLost = head.run != m_run;
        if (!m_isFollowing || m_isLost) {
            return; // the definition is to come, and is asked for
        }
        const std::uint64_t write = DecodeMirrorValues(archive, m_block.GetDirectory(), m_words);
        m_lastHeard = GetTickCount();
        if (write >= m_write) {
            m_write = write;
            m_block.SetWords(m_words);
            m_block.Commit();
            Count(&T_IP_DATA_MIRROR_STATUS::messages);
            SetStatus(L"Receiving", true);
        }
    }

    void TakeDown(const wchar_t* why)
    {
        m_block.Close();
        m_nextAsk = CDeadline(0);
        SetStatus(why, false);
    }

    CBlockWriter m_block;
    std::vector<std::uint64_t> m_words;
    bool m_isFollowing = false; // one mirror, whose definition made the block
    bool m_isLost = false;      // that mirror sends values of a block whose definition has not come
    std::uint64_t m_source = 0;
    std::uint32_t m_run = 0;
    std::uint64_t m_write = 0;
    DWORD m_lastHeard = 0;
    CDeadline m_nextAsk{0};
};

CIPDataReplica::CIPDataReplica() = default;
CIPDataReplica::~CIPDataReplica() = default;

int CIPDataReplica::Start(const T_IP_DATA_MIRROR& settings, CString& text)
{
    if (m_worker != nullptr) {
        text = L"The replica was started already.";
        return 0;
    }
    auto worker = std::make_unique<CWorker>();
    if (worker->Start(settings, "data replica", text) == 0) {
        return 0;
    }
    m_worker = std::move(worker);
    return 1;
}

void CIPDataReplica::Stop()
{
    m_worker.reset();
}

T_IP_DATA_MIRROR_STATUS CIPDataReplica::GetStatus() const
{
    return m_worker != nullptr ? m_worker->GetStatus() : T_IP_DATA_MIRROR_STATUS();
}

} // namespace alidade
