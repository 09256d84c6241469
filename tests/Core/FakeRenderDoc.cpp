/* Stands in for librenderdoc.so in the frame-capture tests: gives the interface table of
   version 1.1.2 and records the calls made through it. Built three ways: FAKE_RENDERDOC_MODE 0
   works, 1 refuses every interface version, 2 lacks the entry point. */

#include <cstdint>
#include <cstdio>
#include <string>

namespace {

std::string calls;
bool capturing = false;
std::uint32_t captures = 0;

void record(const char* name, void* device, void* window) {
    char text[96];
    std::snprintf(text, sizeof(text), "%s(%p, %p) ", name, device, window);
    calls += text;
}

void getApiVersion(int* major, int* minor, int* patch) { *major = 1; *minor = 1; *patch = 2; }
void setCaptureFilePathTemplate(const char* pathTemplate) { calls += std::string{"template("} + pathTemplate + ") "; }
std::uint32_t getNumCaptures() { return captures; }
void startFrameCapture(void* device, void* window) { record("start", device, window); capturing = true; }
std::uint32_t isFrameCapturing() { return capturing; }
std::uint32_t endFrameCapture(void* device, void* window) {
    record("end", device, window);
    if(!capturing) return 0;
    capturing = false;
    ++captures;
    return 1;
}

/* 23 entries; the unused ones are null, which any call through them would show at once */
void* table[23]{
    reinterpret_cast<void*>(getApiVersion), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    nullptr, nullptr, nullptr, nullptr, reinterpret_cast<void*>(setCaptureFilePathTemplate), nullptr,
    reinterpret_cast<void*>(getNumCaptures), nullptr, nullptr, nullptr, nullptr, nullptr,
    reinterpret_cast<void*>(startFrameCapture), reinterpret_cast<void*>(isFrameCapturing),
    reinterpret_cast<void*>(endFrameCapture), nullptr};

}

extern "C" {

#if FAKE_RENDERDOC_MODE != 2
__attribute__((visibility("default"))) int RENDERDOC_GetAPI(int version, void** api) {
    calls += "GetAPI(" + std::to_string(version) + ") ";
    if(FAKE_RENDERDOC_MODE == 1 || version != 10102) return 0;
    *api = table;
    return 1;
}
#endif

/* The calls so far, separated by spaces; clears the record */
__attribute__((visibility("default"))) const char* quillmarshFakeRenderDocCalls() {
    static std::string taken;
    taken = calls;
    calls.clear();
    return taken.c_str();
}

}
