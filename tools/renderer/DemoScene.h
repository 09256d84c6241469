#ifndef QuillmarshRenderer_DemoScene_h
#define QuillmarshRenderer_DemoScene_h

/* The scene the demo host renders and the renderer's benchmark measures, built on the library
   alone (no OpenGL): a ground plane, a grid of cubes and spheres of which every fourth spins, a
   skinned three-joint arm played by the animation manager, a sun with cascaded shadows, a spot
   and a point light with shadows, and a camera, optionally with a stereo pair of eyes. frame()
   runs the library's frame in the host's order. */

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "FramePlan.h"
#include "Renderer.h"
#include "QuillmarshEngine/Data/AnimationManager.h"
#include "QuillmarshEngine/Data/LightManager.h"
#include "QuillmarshEngine/Data/MeshManager.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/ViewManager.h"
#include "QuillmarshEngine/Trade/MeshData.h"

namespace QuillmarshRenderer {

class DemoScene {
    public:
        /* Mesh indices of the scene's meshes, also their groups in the mesh manager */
        enum: std::uint16_t { Plane = 0, Cube = 1, Sphere = 2, Arm = 3 };
        static constexpr std::uint32_t ShadowBudget = 16;
        static constexpr std::uint32_t MaxInstances = 65000;

        /* instances cubes and spheres (at most MaxInstances), the image size the views'
           viewports and projections are made for */
        explicit DemoScene(std::uint32_t instances, bool stereo, std::uint32_t width, std::uint32_t height);

        /* Where the library's share of a frame went, in nanoseconds */
        struct LibraryTimes {
            std::uint64_t animation, transformations, managers, shadows;
        };

        /* Advance by dt seconds: animate() then updateLibrary() */
        void frame(double dt);

        /* The host's part: spin the spinning instances (new local transformations, marked dirty) */
        void animate(double dt);

        /* The library's part, in the host's frame order: play the arm (animation manager), compute
           world transformations, update the mesh, view and light managers, refresh the
           projections, assign and fit the shadow records. Fills times when given. */
        void updateLibrary(double dt, LibraryTimes* times = nullptr);

        /* The meshes in the packed layout (the sphere quantized), by mesh index */
        std::span<const Trade::MeshData> meshes() const { return _packed; }
        std::span<const MeshBounds> bounds() const { return _bounds; }
        /* The skin records, skin index k at k - 1 */
        std::span<const std::vector<char>> skins() const { return _skins; }
        /* Base colours by material index */
        std::span<const Color4> materials() const { return _materials; }

        /* What the renderer draws this frame */
        Frame renderFrame() const;

        Data::SceneGraph& graph() { return *_graph; }
        Data::MeshManager& meshManager() { return _meshManager; }
        Data::ViewManager& viewManager() { return _views; }
        Data::LightManager& lightManager() { return _lights; }
        std::uint32_t instanceCount() const { return _instanceCount; }

    private:
        Data::Id addObject(Data::Id parent, const DualQuaternion& local);
        Data::Id addView(Data::Id object, std::int32_t x, std::int32_t width, std::int32_t height);
        void addInstance(Data::Id object, std::uint16_t mesh, std::uint16_t material, std::uint16_t skin);

        std::unique_ptr<Data::SceneGraph> _graph;
        Data::MeshManager _meshManager;
        Data::ViewManager _views;
        Data::LightManager _lights;
        Data::AnimationManager _animations;

        std::vector<Trade::MeshData> _packed;
        std::vector<MeshBounds> _bounds;
        std::vector<std::vector<char>> _skins;
        std::vector<Color4> _materials;

        struct Spinner {
            Data::Id object;
            Vector3 position;
            float speed;
        };
        std::vector<Spinner> _spinners;
        Data::Id _head, _eyes[2];
        bool _stereo;
        std::uint32_t _instanceCount;
        double _time{};
};

}

#endif
