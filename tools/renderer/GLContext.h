#ifndef QuillmarshRenderer_GLContext_h
#define QuillmarshRenderer_GLContext_h

/* A headless OpenGL 3.3 core context through EGL, current on the creating thread: on Mesa's
   surfaceless platform first (software rasterizer, no display), then on the first EGL device, then
   on the default display. Nothing here needs a window or a GPU; with one, the same code uses it. */

#include <memory>
#include <string>

namespace QuillmarshRenderer {

class GLContext {
    public:
        /* A current context, or nullptr with the reason in error */
        static std::unique_ptr<GLContext> create(std::string& error);

        ~GLContext();
        GLContext(const GLContext&) = delete;
        GLContext& operator=(const GLContext&) = delete;

        /* The renderer and version strings of the driver, "llvmpipe (...) | 4.5 (Core Profile) Mesa ..." */
        std::string description() const;

    private:
        GLContext() = default;

        void* _display{};
        void* _context{};
        void* _surface{};
};

}

#endif
