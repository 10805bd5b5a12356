// Takes one frame of the driver "Gradient" with nothing but the installed package.

#include <acquisition/FrameGrabber.h>
#include <acquisition/InitVision.h>
#include <foundation/platform/Text.h>

#include <cstdio>

int main()
{
    using namespace alidade;
    InitVision(nullptr, nullptr, nullptr, nullptr); // the plug-ins that lie with the library
    int taken = 0;
    {
        CProfileSection settings;
        settings.SetItemValue(L"Gradient.Width", 320);
        CString message;
        const TRefPointer<CFrameGrabber> grabber =
            CFrameGrabber::GetFrameGrabber(L"Gradient", settings, message);
        cv::Mat image;
        if (grabber && grabber->StartCapture() && grabber->GetNewImage(image, 10000)) {
            taken = image.cols;
        }
        std::printf("%s, %d pixels wide\n", ToNarrow(message).c_str(), taken);
    }
    CFrameGrabber::UnloadFrameGrabberDll();
    return taken == 320 ? 0 : 1;
}
