#include "GLContext.h"

#include <cstdio>

#include <EGL/egl.h>
#include <EGL/eglext.h>
#define GL_GLEXT_PROTOTYPES
#include <GL/glcorearb.h>

namespace QuillmarshRenderer {

namespace {

const char* eglErrorName(const EGLint error) {
    switch(error) {
        case EGL_SUCCESS: return "EGL_SUCCESS";
        case EGL_NOT_INITIALIZED: return "EGL_NOT_INITIALIZED";
        case EGL_BAD_ACCESS: return "EGL_BAD_ACCESS";
        case EGL_BAD_ALLOC: return "EGL_BAD_ALLOC";
        case EGL_BAD_ATTRIBUTE: return "EGL_BAD_ATTRIBUTE";
        case EGL_BAD_CONFIG: return "EGL_BAD_CONFIG";
        case EGL_BAD_CONTEXT: return "EGL_BAD_CONTEXT";
        case EGL_BAD_DISPLAY: return "EGL_BAD_DISPLAY";
        case EGL_BAD_MATCH: return "EGL_BAD_MATCH";
        case EGL_BAD_PARAMETER: return "EGL_BAD_PARAMETER";
        case EGL_BAD_SURFACE: return "EGL_BAD_SURFACE";
    }
    return "an unknown EGL error";
}

std::string failure(const char* what) {
    return std::string{what} + " failed with " + eglErrorName(eglGetError());
}

/* Displays to try, best first; each may be EGL_NO_DISPLAY */
EGLDisplay surfacelessDisplay() {
    const auto getPlatformDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    if(!getPlatformDisplay) return EGL_NO_DISPLAY;
    return getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
}

EGLDisplay deviceDisplay() {
    const auto getPlatformDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    const auto queryDevices = reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
    if(!getPlatformDisplay || !queryDevices) return EGL_NO_DISPLAY;
    EGLDeviceEXT device;
    EGLint count = 0;
    if(!queryDevices(1, &device, &count) || count < 1) return EGL_NO_DISPLAY;
    return getPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, device, nullptr);
}

}

std::unique_ptr<GLContext> GLContext::create(std::string& error) {
    std::unique_ptr<GLContext> out{new GLContext};
    std::string reasons;
    for(EGLDisplay display: {surfacelessDisplay(), deviceDisplay(), eglGetDisplay(EGL_DEFAULT_DISPLAY)}) {
        if(display == EGL_NO_DISPLAY) continue;
        EGLint major, minor;
        if(!eglInitialize(display, &major, &minor)) {
            reasons = failure("eglInitialize()");
            continue;
        }
        if(!eglBindAPI(EGL_OPENGL_API)) {
            reasons = failure("eglBindAPI(EGL_OPENGL_API)");
            continue;
        }
        /* A pbuffer-capable configuration, so that a display without surfaceless contexts can
           still be made current on a 1×1 pbuffer */
        const EGLint configAttributes[]{EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT,
            EGL_RED_SIZE, 8, EGL_GREEN_SIZE, 8, EGL_BLUE_SIZE, 8, EGL_NONE};
        EGLConfig config = nullptr;
        EGLint configCount = 0;
        if(!eglChooseConfig(display, configAttributes, &config, 1, &configCount) || configCount < 1) config = nullptr;
        const EGLint contextAttributes[]{EGL_CONTEXT_MAJOR_VERSION, 3, EGL_CONTEXT_MINOR_VERSION, 3,
            EGL_CONTEXT_OPENGL_PROFILE_MASK, EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT, EGL_NONE};
        EGLContext context = eglCreateContext(display, config ? config : EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, contextAttributes);
        if(context == EGL_NO_CONTEXT) {
            reasons = failure("eglCreateContext() for OpenGL 3.3 core");
            continue;
        }
        EGLSurface surface = EGL_NO_SURFACE;
        if(!eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, context)) {
            const EGLint pbufferAttributes[]{EGL_WIDTH, 1, EGL_HEIGHT, 1, EGL_NONE};
            if(config) surface = eglCreatePbufferSurface(display, config, pbufferAttributes);
            if(surface == EGL_NO_SURFACE || !eglMakeCurrent(display, surface, surface, context)) {
                reasons = failure("eglMakeCurrent()");
                if(surface != EGL_NO_SURFACE) eglDestroySurface(display, surface);
                eglDestroyContext(display, context);
                continue;
            }
        }
        out->_display = display;
        out->_context = context;
        out->_surface = surface;
        return out;
    }
    error = reasons.empty() ? "no EGL display is available" : reasons;
    return nullptr;
}

/* The display stays initialized: EGL displays are shared by the whole process, so terminating
   it here would destroy the contexts of every other user of the same display */
GLContext::~GLContext() {
    eglMakeCurrent(_display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    if(_surface) eglDestroySurface(_display, _surface);
    eglDestroyContext(_display, _context);
    eglReleaseThread();
}

std::string GLContext::description() const {
    const auto text = [](GLenum name) {
        const GLubyte* value = glGetString(name);
        return value ? std::string{reinterpret_cast<const char*>(value)} : std::string{"?"};
    };
    return text(GL_RENDERER) + " | " + text(GL_VERSION);
}

}
