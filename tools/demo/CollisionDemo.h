#ifndef QuillmarshEngine_tools_demo_CollisionDemo_h
#define QuillmarshEngine_tools_demo_CollisionDemo_h

/* The demo's collision part: a small room of colliders in a scene of its own, and a hand
   controller that sweeps around it casting rays every frame */

#include <cstdint>
#include <memory>

class CollisionDemo {
    public:
        explicit CollisionDemo(std::uint32_t seed);
        ~CollisionDemo();

        /* Moves the controller to where it is at this frame and casts its rays */
        void frame(std::uint32_t frame);

        /* Prints what the rays hit; returns how many queries disagreed with the reference
           queries */
        std::uint32_t report() const;

    private:
        struct State;
        std::unique_ptr<State> _state;
};

#endif
