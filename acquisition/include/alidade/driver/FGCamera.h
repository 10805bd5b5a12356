#pragma once

#include "alidade/driver/FGComm.h"
#include "foundation/containers/RefPointer.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

class QWidget;

namespace alidade {

class CIPVariable;

/// A block of bytes that is passed between cameras and dialogs. Not a text: it has no terminator.
struct T_COMM_DATA {
    BYTE* pData = nullptr; // from new[], owned
    DWORD nSize = 0;       // bytes

    T_COMM_DATA() = default;
    explicit T_COMM_DATA(std::string_view text) { Set(text); }
    T_COMM_DATA(const T_COMM_DATA& other) { Set(other.Text()); }
    T_COMM_DATA& operator=(const T_COMM_DATA& other)
    {
        if (this != &other) {
            Set(other.Text());
        }
        return *this;
    }
    ~T_COMM_DATA() { delete[] pData; }

    bool IsEmpty() const { return pData == nullptr || nSize == 0; }
    std::string_view Text() const { return {reinterpret_cast<const char*>(pData), nSize}; }
    void Set(std::string_view bytes)
    {
        BYTE* copy = bytes.empty() ? nullptr : new BYTE[bytes.size()];
        std::copy(bytes.begin(), bytes.end(), copy);
        delete[] pData;
        pData = copy;
        nSize = static_cast<DWORD>(bytes.size());
    }
};

/// An object that speaks a camera's control protocol over a port. One thread at a time.
class IFGCamera {
public:
    /// Makes camera controls of one kind. Objects register themselves while the library loads and live as
    /// long as the process.
    class CDYNAMIC_CREATE {
    public:
        virtual ~CDYNAMIC_CREATE() = default;
        virtual IFGCamera* Create() const = 0;
        const char* GetName() const { return m_name; }

    protected:
        explicit CDYNAMIC_CREATE(const char* name) : m_name(name) {}

    private:
        const char* m_name;
    };

    virtual const char* GetName() = 0;
    virtual ~IFGCamera() = default;
    /// The camera's terminal window, made on the first call and owned by the camera; null when it has none.
    virtual QWidget* GetDialog(QWidget* parent) = 0;
    virtual void Reset() {}
    /// One question and answer as text. On failure (0) `reply` is untouched.
    virtual int SendCommand(const char* text, CStringA& reply, DWORD timeoutMs)
    {
        T_COMM_DATA answer;
        if (!Transact(T_COMM_DATA(text != nullptr ? text : ""), &answer, timeoutMs)) {
            return 0;
        }
        reply = answer.Text();
        return 1;
    }
    virtual int Transact(const T_COMM_DATA& command, T_COMM_DATA* reply, DWORD timeoutMs) = 0;
    virtual int ParseResult(const T_COMM_DATA& reply, CIPVariable& result) = 0;

    TRefPointer<IFGComm, int, int> m_pComm;
    QWidget* m_pDialog = nullptr;
};

} // namespace alidade
