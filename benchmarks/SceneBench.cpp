#include "benchmarks/Harness.h"
#include "drivers/scene/SceneRenderer.h"
#include "foundation/math/ImageCopy.h"

#include <opencv2/imgproc.hpp>

namespace alidade::bench {

/// A frame of the simulated camera in focus with its delivery, against sampling the same texture and nothing
/// else.
void BenchScene(CSuite& suite)
{
    const std::string name = "FG.Scene at 1600x1200, sharp";
    if (!suite.IsWanted(name)) {
        return;
    }
    const T_SCENE_SETTINGS settings = [] {
        CProfileSection section;
        section.SetItemValue(L"Scene.Rotation", 1.5);
        T_SCENE_SETTINGS read;
        CString message;
        ReadSceneSettings(section, read, message);
        return read;
    }();
    CString message;
    const auto workPiece = MakeWorkPiece(settings, message);
    const CSceneTruth truth(settings, workPiece->GetMarks(), workPiece->Describe());
    CSceneRenderer renderer(truth, *workPiece);
    T_MACHINE_STATE state;
    cv::Mat frame, delivered, bare;
    std::uint64_t number = 0;
    renderer.Render(state, number, frame);
    suite.Compare(
        name, 1.5,
        [&] {
            // A stage that moves, as far as one texture goes.
            state.position.x = 0.001 * static_cast<double>(number % 100);
            renderer.Render(state, number++, frame);
            CopyImage(frame, delivered);
        },
        [&] {
            cv::warpAffine(renderer.GetTexture(), bare, renderer.GetTexelFromPixel(), frame.size(),
                           cv::INTER_LINEAR | cv::WARP_INVERSE_MAP, cv::BORDER_CONSTANT);
        });
}

} // namespace alidade::bench
