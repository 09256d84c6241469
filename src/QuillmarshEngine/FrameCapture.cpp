#include "QuillmarshEngine/FrameCapture.h"

#include <dlfcn.h>

#include "QuillmarshEngine/Assert.h"

namespace QuillmarshEngine {

/* RenderDoc's interface table of version 1.1.2: function pointers in this order. Only the ones
   used here have their types; the others keep their places. */
struct FrameCapture::Api {
    void (*getApiVersion)(int* major, int* minor, int* patch);
    void* setCaptureOptionU32;
    void* setCaptureOptionF32;
    void* getCaptureOptionU32;
    void* getCaptureOptionF32;
    void* setFocusToggleKeys;
    void* setCaptureKeys;
    void* getOverlayBits;
    void* maskOverlayBits;
    void* removeHooks;
    void* unloadCrashHandler;
    void (*setCaptureFilePathTemplate)(const char* pathTemplate);
    void* getCaptureFilePathTemplate;
    std::uint32_t (*getNumCaptures)();
    void* getCapture;
    void* triggerCapture;
    void* isTargetControlConnected;
    void* launchReplayUI;
    void* setActiveWindow;
    void (*startFrameCapture)(void* device, void* window);
    std::uint32_t (*isFrameCapturing)();
    std::uint32_t (*endFrameCapture)(void* device, void* window);
    void* triggerMultiFrameCapture;
};

static_assert(sizeof(void*) == sizeof(void(*)()), "the interface table mixes data and function pointers");

namespace {

/* eRENDERDOC_API_Version_1_1_2: major*10000 + minor*100 + patch */
constexpr int ApiVersion = 10102;

typedef int(*GetApi)(int version, void** api);

}

FrameCapture::FrameCapture(const char* const library) {
    /* RenderDoc injects itself when it starts the host; take that copy if it is there */
    void* handle = dlopen(library, RTLD_NOW|RTLD_NOLOAD);
    if(!handle) handle = dlopen(library, RTLD_NOW);
    void* api = nullptr;
    if(handle) {
        const GetApi getApi = reinterpret_cast<GetApi>(dlsym(handle, "RENDERDOC_GetAPI"));
        if(!getApi || getApi(ApiVersion, &api) != 1) api = nullptr;
    }
    if(!api) {
        QUILLMARSH_WARNING("Failed to initialize RenderDoc");
        /* A library that loaded but gave no interface is of no further use */
        if(handle) dlclose(handle);
        return;
    }
    _api = static_cast<const Api*>(api);
}

bool FrameCapture::startCapture(void* const device, void* const window) {
    QUILLMARSH_ASSERT(!_capturing, "FrameCapture::startCapture(): a capture is already running", {});
    _capturing = true;
    if(!_api) return false;
    _api->startFrameCapture(device, window);
    return _api->isFrameCapturing() != 0;
}

bool FrameCapture::endCapture(void* const device, void* const window) {
    QUILLMARSH_ASSERT(_capturing, "FrameCapture::endCapture(): no capture is running", {});
    _capturing = false;
    if(!_api) return false;
    return _api->endFrameCapture(device, window) == 1;
}

std::uint32_t FrameCapture::captureCount() const {
    return _api ? _api->getNumCaptures() : 0;
}

void FrameCapture::setCaptureFilePathTemplate(const char* const pathTemplate) {
    if(_api) _api->setCaptureFilePathTemplate(pathTemplate);
}

}
