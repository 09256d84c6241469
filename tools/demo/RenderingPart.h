#ifndef QuillmarshEngine_Tools_Demo_RenderingPart_h
#define QuillmarshEngine_Tools_Demo_RenderingPart_h

/* The rendering side of the demo host: a camera, mesh instances and lights placed on the host's
   objects, updated every frame in the library's frame order once the world transformations are
   current: the mesh, view and light managers' updates, then the shadow records against a budget */

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "QuillmarshEngine/Data/LightManager.h"
#include "QuillmarshEngine/Data/MeshManager.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/ViewManager.h"

class RenderingPart {
    public:
        /* Manager slots the part registers, from the first slot it is given */
        static constexpr std::uint16_t Managers = 3;

        /* Components the part adds when room entries of the scene graph's component list are
           free; 0 when there is not enough room for it to run */
        static std::uint32_t components(std::uint32_t room);

        /* objects[1 ...] are the host's objects (objects[0] is the root); the camera, lights and
           meshes are components of those, so they move with the host's animation */
        explicit RenderingPart(QuillmarshEngine::Data::SceneGraph& graph, std::uint16_t firstSlot, std::span<const QuillmarshEngine::Data::Id> objects, std::uint32_t components);

        /* One frame, after the scene graph computed world transformations */
        void frame(double dt);

        /* Prints the summary and the checks; returns the number of failed checks */
        std::uint32_t report() const;

    private:
        QuillmarshEngine::Data::SceneGraph& _graph;
        QuillmarshEngine::Data::MeshManager _meshes;
        QuillmarshEngine::Data::ViewManager _views;
        QuillmarshEngine::Data::LightManager _lights;
        QuillmarshEngine::Data::Id _camera;
        std::vector<QuillmarshEngine::Data::Id> _lightIds;
        bool _enabled;
        std::vector<double> _frameTimes;
        std::string _firstWarning;
        std::uint32_t _frames{};
        std::uint32_t _warningCount{};
};

#endif
