#ifndef QuillmarshEngine_bench_SceneGraph_OgreContender_h
#define QuillmarshEngine_bench_SceneGraph_OgreContender_h

#include <cstdint>
#include <memory>

/* The Ogre 1.12 SceneNode hierarchy as a contender. Kept behind this small interface so that the
   Ogre headers stay in one translation unit of the benchmark. */
class OgreTree {
    public:
        /* Transforms are given per node in the node's own index order; parents[i] < i for every i > 0
           and node 0 is the root. Rotations are quaternions x, y, z, w. */
        explicit OgreTree(std::uint32_t count, const std::uint32_t* parents, const float* positions,
            const float* rotations, const float* scalings);
        ~OgreTree();

        /* Marks every node as changed and updates the whole hierarchy from the root */
        void update();

        /* World position of node i after update() */
        void worldPosition(std::uint32_t i, float* out) const;

    private:
        struct State;
        std::unique_ptr<State> _state;
};

#endif
