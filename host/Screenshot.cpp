#include "host/Screenshot.h"

#include "foundation/platform/FileReplace.h"
#include "foundation/platform/Text.h"

#include <QBuffer>
#include <QPixmap>
#include <QWidget>

namespace alidade {

int WriteScreenshot(QWidget& window, const CString& file, CString& error)
{
    constexpr int kQuality = 95; // of a jpg; a png keeps every pixel, whatever its quality
    const std::filesystem::path path = ToPath(file);
    CStringA format = path.extension().string();
    format.erase(0, 1);
    const bool lossless = format == "png" || format == "PNG";
    QBuffer buffer;
    if (!buffer.open(QIODevice::WriteOnly) ||
        !window.grab().save(&buffer, format.c_str(), lossless ? -1 : kQuality)) {
        error = L"the screenshot cannot be encoded for " + file;
        return 0;
    }
    const QByteArray& bytes = buffer.data();
    return ReplaceFileWith(path, {bytes.constData(), static_cast<std::size_t>(bytes.size())}, &error);
}

} // namespace alidade
