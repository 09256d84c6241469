#include "DemoFrameCapture.h"

#include <cstdio>

DemoFrameCapture::DemoFrameCapture(const std::uint32_t frame, const char* const library): _frame{frame} {
    if(frame) _capture = std::make_unique<QuillmarshEngine::FrameCapture>(library);
}

void DemoFrameCapture::beginFrame(const std::uint32_t frame) {
    if(_capture && frame == _frame) _started = _capture->startCapture();
}

void DemoFrameCapture::endFrame(const std::uint32_t frame) {
    if(_capture && frame == _frame) _written = _capture->endCapture();
}

void DemoFrameCapture::report() const {
    if(!_capture) return;
    if(!_capture->isAvailable())
        std::printf("  capture:    RenderDoc is not available, frame %u ran uncaptured\n", _frame);
    else std::printf("  capture:    frame %u %s, %u captures written\n", _frame,
        _written ? "captured" : _started ? "started but not written" : "not captured", _capture->captureCount());
}
