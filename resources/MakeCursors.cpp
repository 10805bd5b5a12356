// Writes the cursors of the camera view into a folder: vision.cur, a cross, and vision.size.cur, four arrows.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr int kSide = 32;
constexpr int kCenter = 16;

/// A shape as the set of its dark pixels; each has a white rim.
class CPicture {
public:
    bool IsDark(int x, int y) const
    {
        return x >= 0 && y >= 0 && x < kSide && y < kSide && m_dark[y * kSide + x];
    }
    bool IsRim(int x, int y) const
    {
        for (int j = y - 1; j <= y + 1; ++j) {
            for (int i = x - 1; i <= x + 1; ++i) {
                if (IsDark(i, j)) {
                    return !IsDark(x, y);
                }
            }
        }
        return false;
    }
    /// A point off the centre, in all four directions.
    void SetFourfold(int along, int across)
    {
        const int offsets[][2] = {{along, across}, {-along, across}, {across, along}, {across, -along}};
        for (const auto& offset : offsets) {
            m_dark[(kCenter + offset[1]) * kSide + kCenter + offset[0]] = true;
        }
    }

private:
    std::vector<bool> m_dark = std::vector<bool>(kSide * kSide);
};

CPicture DrawCross()
{
    CPicture picture;
    for (int along = 3; along < 15; ++along) { // what is pointed at stays in sight
        picture.SetFourfold(along, 0);
    }
    return picture;
}

CPicture DrawArrows()
{
    CPicture picture;
    for (int along = 0; along <= 12; ++along) {
        picture.SetFourfold(along, 0);
        for (int across = 1; across <= 12 - along && along >= 9; ++across) {
            picture.SetFourfold(along, across);
            picture.SetFourfold(along, -across);
        }
    }
    return picture;
}

/// One picture of 32 bits, and its mask.
std::string MakeFile(const CPicture& picture)
{
    constexpr int kMaskBytes = kSide * kSide / 8;
    constexpr int kBitmapBytes = 40 + kSide * kSide * 4 + kMaskBytes;
    std::string file;
    const auto put = [&](std::uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) {
            file += static_cast<char>(value >> 8 * i & 0xff);
        }
    };
    put(0, 2), put(2, 2), put(1, 2);                                           // a cursor with one picture
    put(kSide, 1), put(kSide, 1), put(0, 2), put(kCenter, 2), put(kCenter, 2); // size, hot spot
    put(kBitmapBytes, 4), put(22, 4);
    put(40, 4), put(kSide, 4), put(2 * kSide, 4), put(1, 2), put(32, 2);
    put(0, 4), put(kSide * kSide * 4 + kMaskBytes, 4), put(0, 4), put(0, 4), put(0, 4), put(0, 4);
    for (int y = kSide - 1; y >= 0; --y) {
        for (int x = 0; x < kSide; ++x) {
            put(picture.IsDark(x, y) ? 0xff000000u : picture.IsRim(x, y) ? 0xffffffffu : 0, 4);
        }
    }
    for (int y = kSide - 1; y >= 0; --y) {
        for (int byte = 0; byte < kSide / 8; ++byte) {
            std::uint32_t clear = 0;
            for (int x = byte * 8; x < byte * 8 + 8; ++x) {
                clear = clear << 1 | (picture.IsDark(x, y) || picture.IsRim(x, y) ? 0u : 1u);
            }
            put(clear, 1);
        }
    }
    return file;
}

bool WriteFile(const std::string& path, const std::string& bytes)
{
    std::ofstream stream(path, std::ios::binary);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    if (!stream) {
        std::fprintf(stderr, "%s: cannot be written\n", path.c_str());
    }
    return static_cast<bool>(stream);
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 2) {
        std::fprintf(stderr, "usage: %s <folder>\n", arguments[0]);
        return EXIT_FAILURE;
    }
    const std::string folder = std::string(arguments[1]) + "/";
    return WriteFile(folder + "vision.cur", MakeFile(DrawCross())) &&
                   WriteFile(folder + "vision.size.cur", MakeFile(DrawArrows()))
               ? EXIT_SUCCESS
               : EXIT_FAILURE;
}
