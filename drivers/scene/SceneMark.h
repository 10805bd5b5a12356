#pragma once

#include <opencv2/core.hpp>

namespace alidade {

enum class eSCENE_MARK {
    DIE,    // rectangle; position: its centre
    CROSS,  // two bars; position: where their centre lines meet
    CORNER, // two bars that form an L; position: where their outer edges meet
    DOT,    // disc; position: its centre
    CIRCLE, // ring; position: its centre
};

/// "die", "cross", "corner", "dot" or "circle".
const char* GetSceneMarkName(eSCENE_MARK kind);

/// One shape on the work piece, exactly known. Lengths in mm, in the axes of the work piece.
struct T_SCENE_MARK {
    eSCENE_MARK eKind = eSCENE_MARK::DOT;
    cv::Point2d position;
    /// Outer width and height. Of a corner: the lengths of its arms, with the sign of their direction.
    cv::Size2d size;
    double dLine = 0; // width of bars or ring; 0: solid
    int nTone = 0;    // brightness, 0 to 255
    cv::Point die;    // column and row of the die that it belongs to; die (0, 0) is the middle one
};

} // namespace alidade
