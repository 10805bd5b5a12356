#include "foundation/bus/data/BlockMemory.h"

#include "foundation/bus/data/BlockFile.h"
#include "foundation/bus/data/BlockLayout.h"
#include "foundation/platform/SystemError.h"
#include "foundation/platform/Text.h"

#include <boost/interprocess/mapped_region.hpp>
#include <boost/interprocess/shared_memory_object.hpp>

namespace alidade {

namespace ipc = boost::interprocess;

struct CBlockMemory::T_MAPPING {
    ipc::shared_memory_object object;
    ipc::mapped_region region;
};

namespace {

std::intptr_t FileOf(const ipc::shared_memory_object& object)
{
    return (std::intptr_t)object.get_mapping_handle().handle; // a number or a pointer, by platform
}

CString ErrorText(const ipc::interprocess_exception& error)
{
    return error.get_native_error() != 0 ? SystemErrorText(error.get_native_error()) : ToWide(error.what());
}

/// Mode 0600 where the system has modes; elsewhere what a new object gets: the user's own.
template <class Permissions>
Permissions MakeOwnPermissions()
{
    if constexpr (std::is_constructible_v<Permissions, int>) {
        return Permissions(0600);
    } else {
        return Permissions();
    }
}

/// The object if this call made it; none when the name is taken.
bool MakeObject(const CStringA& mapName, ipc::shared_memory_object& object)
{
    try {
        object = ipc::shared_memory_object(ipc::create_only, mapName.c_str(), ipc::read_write,
                                           MakeOwnPermissions<ipc::permissions>());
        return true;
    } catch (const ipc::interprocess_exception& error) {
        if (error.get_error_code() != ipc::already_exists_error) {
            throw;
        }
        return false;
    }
}

/// Removes the name of a block that no writer has. False with `text` set when a writer has it.
bool RemoveLeftBehind(const CStringA& mapName, CString& text)
{
    try {
        const ipc::shared_memory_object left(ipc::open_only, mapName.c_str(), ipc::read_write);
        if (!IsBlockFileOwn(FileOf(left))) {
            text = Format(L"%S belongs to another user.", mapName.c_str());
            return false;
        }
        if (!LockBlockFile(FileOf(left))) {
            text = Format(L"%S is being written by another writer.", mapName.c_str());
            return false;
        }
        // Only the holder of the claim takes the name away, so that it leads to this block or is gone
        // already.
        if (!IsBlockFileRemoved(FileOf(left))) {
            ipc::shared_memory_object::remove(mapName.c_str());
        }
    } catch (const ipc::interprocess_exception& error) {
        if (error.get_error_code() != ipc::not_found_error) {
            throw;
        }
    }
    return true;
}

} // namespace

CBlockMemory::CBlockMemory() = default;

CBlockMemory::~CBlockMemory()
{
    Close();
}

CBlockMemory::CBlockMemory(CBlockMemory&& other) noexcept
{
    *this = std::move(other);
}

CBlockMemory& CBlockMemory::operator=(CBlockMemory&& other) noexcept
{
    std::swap(m_mapping, other.m_mapping);
    std::swap(m_madeName, other.m_madeName);
    std::swap(m_data, other.m_data);
    std::swap(m_size, other.m_size);
    return *this;
}

bool CBlockMemory::Create(const CStringA& mapName, std::uint64_t size, CString& text)
{
    auto mapping = std::make_unique<T_MAPPING>();
    try {
        bool made = false;
        for (int attempt = 0; attempt < 20 && !made; ++attempt) {
            made = MakeObject(mapName, mapping->object);
            // Between the making and the claim another writer may have taken the block for left behind.
            if (made &&
                (!LockBlockFile(FileOf(mapping->object)) || IsBlockFileRemoved(FileOf(mapping->object)))) {
                made = false;
            }
            if (!made && !RemoveLeftBehind(mapName, text)) {
                return false;
            }
        }
        if (!made) {
            text = Format(L"%S is wanted by several writers at once.", mapName.c_str());
            return false;
        }
        if (const int code = SizeBlockFile(FileOf(mapping->object), size)) {
            ipc::shared_memory_object::remove(mapName.c_str());
            text = Format(L"%S cannot have %llu bytes of shared memory: %s", mapName.c_str(),
                          static_cast<unsigned long long>(size), SystemErrorText(code).c_str());
            return false;
        }
        try {
            mapping->region = ipc::mapped_region(mapping->object, ipc::read_write, 0, size);
        } catch (const ipc::interprocess_exception&) {
            ipc::shared_memory_object::remove(mapName.c_str());
            throw;
        }
    } catch (const ipc::interprocess_exception& error) {
        text = Format(L"%S cannot be made: %s", mapName.c_str(), ErrorText(error).c_str());
        return false;
    }
    Close();
    m_mapping = std::move(mapping);
    m_madeName = mapName;
    m_data = static_cast<std::byte*>(m_mapping->region.get_address());
    m_size = m_mapping->region.get_size();
    return true;
}

bool CBlockMemory::Open(const CStringA& mapName, CString& text)
{
    auto mapping = std::make_unique<T_MAPPING>();
    try {
        mapping->object = ipc::shared_memory_object(ipc::open_only, mapName.c_str(), ipc::read_only);
        if (!IsBlockFileOwn(FileOf(mapping->object))) {
            text = Format(L"%S belongs to another user.", mapName.c_str());
            return false;
        }
        ipc::offset_t size = 0;
        mapping->object.get_size(size);
        if (size == 0) {
            text = Format(L"%S is just being made: it has no content yet.", mapName.c_str());
            return false;
        }
        if (size < 0 || static_cast<std::uint64_t>(size) > kMostBlockBytes) {
            text = Format(L"%S is no shared block: %lld bytes are more than one may have.", mapName.c_str(),
                          static_cast<long long>(size));
            return false;
        }
        mapping->region =
            ipc::mapped_region(mapping->object, ipc::read_only, 0, static_cast<std::size_t>(size));
    } catch (const ipc::interprocess_exception& error) {
        text = error.get_error_code() == ipc::not_found_error
                   ? Format(L"There is no shared block %S.", mapName.c_str())
                   : Format(L"%S cannot be opened: %s", mapName.c_str(), ErrorText(error).c_str());
        return false;
    }
    Close();
    m_mapping = std::move(mapping);
    m_data = static_cast<std::byte*>(m_mapping->region.get_address());
    m_size = m_mapping->region.get_size();
    return true;
}

void CBlockMemory::Close()
{
    if (!m_madeName.empty()) {
        // Before the claim goes with the handle.
        ipc::shared_memory_object::remove(m_madeName.c_str());
        m_madeName.clear();
    }
    m_mapping.reset();
    m_data = nullptr;
    m_size = 0;
}

bool CBlockMemory::HasWriter() const
{
    return m_mapping != nullptr && IsBlockFileLocked(FileOf(m_mapping->object));
}

} // namespace alidade
