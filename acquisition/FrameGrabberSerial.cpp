// The pool of buffers that a serial grab records into.

#include "acquisition/FrameGrabber.h"

#include "foundation/math/ImageCopy.h"
#include "foundation/platform/Ticks.h"

#include <memory>

namespace alidade {
/// On the driver's thread, under the image lock. Without a free buffer the frame is not recorded.
void CFrameGrabber::RecordFrame()
{
    TListNode<T_IMAGE_BUFFER*>* node = m_freeBuffers.RemoveNode();
    if (node == nullptr) {
        return;
    }
    try {
        node->item->dwTick = GetTickCount();
        CopyImage(m_pInterface->m_image, node->item->image);
    } catch (...) {
        m_freeBuffers.InsertNode(node);
        throw;
    }
    m_filledBuffers.InsertNode(node);
}

int CFrameGrabber::ReserveImageBuffer(int count)
{
    m_nReservedBuffers = count;
    if (count <= 0) {
        m_freeBuffers.DeleteAll();
        return 1;
    }
    const cv::Size size = GetImageSize();
    {
        CS lock(m_freeBuffers.GetLock());
        const T_IMAGE_BUFFER* first = m_freeBuffers.First();
        if (first != nullptr && first->image.size() != size) {
            m_freeBuffers.DeleteAll();
        }
    }
    const int type = GetImageType();
    while (m_freeBuffers.Count() < count) {
        auto buffer = std::make_unique<T_IMAGE_BUFFER>();
        buffer->image.create(size, type);
        m_freeBuffers.Insert(buffer.get());
        buffer.release();
    }
    while (m_freeBuffers.Count() > count) {
        m_freeBuffers.Delete();
    }
    return 1;
}

int CFrameGrabber::StartSerialGrab(int count)
{
    if (count >= 0) {
        ReserveImageBuffer(count);
    }
    ReturnImageBuffer(m_filledBuffers);
    m_bSerialGrab.exchange(1);
    return 1;
}

int CFrameGrabber::StopSerialGrab()
{
    m_bSerialGrab.exchange(0);
    return 1;
}

int CFrameGrabber::PopImageBuffer(TList<T_IMAGE_BUFFER, int, int>& buffers)
{
    CS lock(m_filledBuffers.GetLock());
    buffers.TakeFrom(m_filledBuffers);
    return 1;
}

int CFrameGrabber::PopImageBuffer(TRefPointer<T_IMAGE_BUFFER, int, int>& buffer)
{
    CS lock(m_filledBuffers.GetLock());
    buffer = TRefPointer<T_IMAGE_BUFFER, int, int>(m_filledBuffers.Remove(0));
    return 1;
}

int CFrameGrabber::ReturnImageBuffer(TList<T_IMAGE_BUFFER, int, int>& buffers)
{
    while (TListNode<T_IMAGE_BUFFER*>* node = buffers.RemoveNode()) {
        if (node->item != nullptr) {
            m_freeBuffers.InsertNode(node);
        } else {
            delete node;
        }
    }
    return 1;
}

int CFrameGrabber::ReturnImageBuffer(TRefPointer<T_IMAGE_BUFFER, int, int>& buffer)
{
    if (T_IMAGE_BUFFER* object = buffer.Detach()) {
        m_freeBuffers.Insert(object);
    }
    return 1;
}

} // namespace alidade
