#include <gtest/gtest.h>

#include <dlfcn.h>
#include <sstream>
#include <string>

#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/FrameCapture.h"

namespace QuillmarshEngine { namespace {

/* The calls the stand-in library recorded since the last look */
std::string fakeCalls(const char* library) {
    void* const handle = dlopen(library, RTLD_NOW|RTLD_NOLOAD);
    if(!handle) return "not loaded";
    const auto calls = reinterpret_cast<const char*(*)()>(dlsym(handle, "quillmarshFakeRenderDocCalls"));
    const std::string out = calls ? calls() : "no record";
    dlclose(handle);
    return out;
}

TEST(FrameCaptureTest, libraryAbsent) {
    /* The usual case: RenderDoc is not installed. Everything stays usable and does nothing. */
    if(void* const handle = dlopen(FrameCapture::DefaultLibrary, RTLD_NOW)) {
        dlclose(handle);
        GTEST_SKIP() << "RenderDoc is installed here";
    }
    std::ostringstream out;
    Warning redirect{&out};
    FrameCapture capture;
    EXPECT_EQ(out.str(), "Failed to initialize RenderDoc\n");
    EXPECT_FALSE(capture.isAvailable());

    for(int frame = 0; frame != 3; ++frame) {
        EXPECT_FALSE(capture.startCapture());
        EXPECT_TRUE(capture.isCapturing());
        EXPECT_FALSE(capture.endCapture());
        EXPECT_FALSE(capture.isCapturing());
    }
    capture.setCaptureFilePathTemplate("/tmp/capture");
    EXPECT_EQ(capture.captureCount(), 0u);
}

TEST(FrameCaptureTest, libraryWithoutInterface) {
    for(const char* library: {FAKE_RENDERDOC_REFUSING, FAKE_RENDERDOC_EMPTY, "/nonexistent/librenderdoc.so"}) {
        SCOPED_TRACE(library);
        std::ostringstream out;
        Warning redirect{&out};
        FrameCapture capture{library};
        EXPECT_EQ(out.str(), "Failed to initialize RenderDoc\n");
        EXPECT_FALSE(capture.isAvailable());
        EXPECT_FALSE(capture.startCapture());
        EXPECT_FALSE(capture.endCapture());
    }
}

TEST(FrameCaptureTest, captureAroundFrames) {
    std::ostringstream out;
    Warning redirect{&out};
    FrameCapture capture{FAKE_RENDERDOC};
    EXPECT_EQ(out.str(), "");
    ASSERT_TRUE(capture.isAvailable());
    /* The interface asked for is version 1.1.2 */
    EXPECT_EQ(fakeCalls(FAKE_RENDERDOC), "GetAPI(10102) ");

    capture.setCaptureFilePathTemplate("/tmp/quillmarsh");
    EXPECT_EQ(capture.captureCount(), 0u);
    EXPECT_TRUE(capture.startCapture());
    EXPECT_TRUE(capture.isCapturing());
    EXPECT_TRUE(capture.endCapture());
    EXPECT_FALSE(capture.isCapturing());
    int device, window;
    EXPECT_TRUE(capture.startCapture(&device, &window));
    EXPECT_TRUE(capture.endCapture(&device, &window));
    EXPECT_EQ(capture.captureCount(), 2u);

    std::ostringstream expected;
    expected << "template(/tmp/quillmarsh) start((nil), (nil)) end((nil), (nil)) "
             << "start(" << static_cast<void*>(&device) << ", " << static_cast<void*>(&window) << ") "
             << "end(" << static_cast<void*>(&device) << ", " << static_cast<void*>(&window) << ") ";
    EXPECT_EQ(fakeCalls(FAKE_RENDERDOC), expected.str());

    /* A second hook takes the copy already loaded */
    FrameCapture again{FAKE_RENDERDOC};
    EXPECT_TRUE(again.isAvailable());
    EXPECT_EQ(again.captureCount(), 2u);
}

TEST(FrameCaptureDeathTest, captureMisuse) {
    Warning silence{nullptr};
    FrameCapture capture{"/nonexistent/librenderdoc.so"};
    EXPECT_DEATH(capture.endCapture(), "^FrameCapture::endCapture\\(\\): no capture is running\n$");
    capture.startCapture();
    EXPECT_DEATH(capture.startCapture(), "^FrameCapture::startCapture\\(\\): a capture is already running\n$");
}

}}
