#ifndef QuillmarshEngine_FrameCapture_h
#define QuillmarshEngine_FrameCapture_h

/** @file
 * @brief Class @ref QuillmarshEngine::FrameCapture
 */

#include <cstdint>

#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine {

/**
 * @brief Frame-capture hook: RenderDoc's in-application interface
 *
 * Loads `librenderdoc.so` with `dlopen()`, using the copy RenderDoc injected into the process
 * when it started the host and loading it otherwise, and asks `RENDERDOC_GetAPI` for version
 * 1.1.2 of its interface. When the library is absent or does not give the interface, prints the
 * warning `Failed to initialize RenderDoc` and stays unavailable: captures then do nothing and
 * report false, so a host keeps its calls in place in every build. The library stays loaded for
 * the rest of the process, as RenderDoc requires.
 *
 * The host brackets the rendering of one frame with @ref startCapture() and @ref endCapture(),
 * on the thread that owns its graphics context. Starting while a capture runs and ending when
 * none does are misuse and abort, whether RenderDoc is there or not. Not thread-safe.
 */
class QUILLMARSH_EXPORT FrameCapture {
    public:
        /** @brief The library loaded by default */
        static constexpr const char* DefaultLibrary = "librenderdoc.so";

        /**
         * @brief Load @p library and take its capture interface
         *
         * @p library is a file name searched the way `dlopen()` searches, or a path.
         */
        explicit FrameCapture(const char* library = DefaultLibrary);

        FrameCapture(const FrameCapture&) = delete;
        FrameCapture& operator=(const FrameCapture&) = delete;

        /** @brief Whether RenderDoc's interface was found */
        [[nodiscard]] bool isAvailable() const { return _api; }

        /** @brief Whether @ref startCapture() was called and @ref endCapture() not yet */
        [[nodiscard]] bool isCapturing() const { return _capturing; }

        /**
         * @brief Start capturing a frame
         *
         * @p device and @p window select the graphics context and window; null for both means
         * the one RenderDoc considers current. Returns whether RenderDoc is capturing; false
         * when it is unavailable. Expects no capture to be running
         * (`FrameCapture::startCapture(): a capture is already running`).
         */
        bool startCapture(void* device = nullptr, void* window = nullptr);

        /**
         * @brief End the capture and have RenderDoc write it
         *
         * Pass the same @p device and @p window as to @ref startCapture(). Returns whether a
         * capture was written; false when RenderDoc is unavailable. Expects a running capture
         * (`FrameCapture::endCapture(): no capture is running`).
         */
        bool endCapture(void* device = nullptr, void* window = nullptr);

        /** @brief Captures RenderDoc has written in this process; 0 when it is unavailable */
        [[nodiscard]] std::uint32_t captureCount() const;

        /**
         * @brief Where RenderDoc writes captures
         *
         * A path and file name prefix, to which RenderDoc appends a frame number and its
         * extension. Does nothing when RenderDoc is unavailable.
         */
        void setCaptureFilePathTemplate(const char* pathTemplate);

    private:
        struct Api;

        const Api* _api = nullptr;
        bool _capturing = false;
};

}

#endif
