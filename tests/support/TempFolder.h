#pragma once

#include "foundation/platform/Ticks.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace alidade {

/// A new folder that goes with the object and everything in it.
class CTempFolder {
public:
    explicit CTempFolder(const std::filesystem::path& name = "alidade-test")
    {
        static std::atomic<unsigned> counter{0};
        const std::filesystem::path base = std::filesystem::temp_directory_path();
        do {
            m_path = base / name;
            for (const auto number :
                 {static_cast<long long>(GetTickNanoseconds()), static_cast<long long>(counter++)}) {
                m_path += '-';
                m_path += std::to_string(number);
            }
        } while (!std::filesystem::create_directories(m_path));
    }
    ~CTempFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    CTempFolder(const CTempFolder&) = delete;
    CTempFolder& operator=(const CTempFolder&) = delete;

    const std::filesystem::path& Path() const { return m_path; }
    std::filesystem::path operator/(const std::filesystem::path& name) const { return m_path / name; }

    void Write(const std::filesystem::path& name, std::string_view bytes) const
    {
        std::ofstream(m_path / name, std::ios::binary)
            .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    std::string Read(const std::filesystem::path& name) const
    {
        std::ifstream file(m_path / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

private:
    std::filesystem::path m_path;
};

} // namespace alidade
