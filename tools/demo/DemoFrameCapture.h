#ifndef quillmarsh_demo_DemoFrameCapture_h
#define quillmarsh_demo_DemoFrameCapture_h

#include <cstdint>
#include <memory>

#include "QuillmarshEngine/FrameCapture.h"

/* The demo's part of the frame-capture hook: with --capture-frame N, frame N is bracketed by the
   start and end of a RenderDoc capture. With no frame chosen nothing is loaded. */
class DemoFrameCapture {
    public:
        explicit DemoFrameCapture(std::uint32_t frame, const char* library);

        void beginFrame(std::uint32_t frame);
        void endFrame(std::uint32_t frame);

        /* One line saying what was captured, if a frame was chosen */
        void report() const;

    private:
        std::uint32_t _frame;
        std::unique_ptr<QuillmarshEngine::FrameCapture> _capture;
        bool _started = false, _written = false;
};

#endif
