/* A first host: routes the library's output to its own log, builds a scene with one object one
   unit away from its parent, updates it and reads the world position back. Exits 0 when the
   position and the routed log line are as expected. Built three ways by the library's tests:
   against the installed CMake package, with add_subdirectory, and with pkg-config's flags. */

#include <cstdio>
#include <span>
#include <string>
#include <string_view>

#include <QuillmarshEngine/Data/SceneGraph.h>
#include <QuillmarshEngine/Logging.h>
#include <QuillmarshEngine/LoggingScope.h>

using namespace QuillmarshEngine;

int main() {
    /* The library prints on Debug, Warning and Error; with a LoggingScope on this thread every
       line becomes a time-stamped log line, also handed to the callback */
    std::string log;
    setLogCallback([](std::string_view line, void* out) { *static_cast<std::string*>(out) += std::string{line} + "\n"; }, &log);
    LoggingScope scope;

    Data::SceneGraph scene{16, 0, 0};
    const Data::Id parent = scene.addObject();
    const Data::Id child = scene.addObject(parent);
    scene.setLocalTransformation(scene.indexOf(parent), DualQuaternion::translation({1.0f, 0.0f, 0.0f}));
    scene.setLocalTransformation(scene.indexOf(child), DualQuaternion::translation({0.0f, 2.0f, 0.0f}));
    scene.setDirty(scene.indexOf(parent));
    scene.computeAbsoluteTransformations();

    const std::span<const DualQuaternion> worlds = scene.worldTransformations();
    const Vector3 position = worlds[scene.indexOf(child)].translation();
    std::printf("child at %g %g %g\n", double(position.x()), double(position.y()), double(position.z()));
    const bool placed = position.x() == 1.0f && position.y() == 2.0f && position.z() == 0.0f;
    const bool routed = log.find("Create scenegraph with") != std::string::npos;
    if(!routed) std::printf("the library's output did not reach the host's log\n");
    return placed && routed ? 0 : 1;
}
