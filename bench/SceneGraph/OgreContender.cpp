#include "OgreContender.h"

#include <vector>

#include <OgreLogManager.h>
#include <OgreRoot.h>
#include <OgreSceneManager.h>
#include <OgreSceneNode.h>

struct OgreTree::State {
    Ogre::LogManager logManager;
    std::unique_ptr<Ogre::Root> root;
    Ogre::SceneManager* sceneManager{};
    std::vector<Ogre::SceneNode*> nodes;
};

OgreTree::OgreTree(const std::uint32_t count, const std::uint32_t* const parents, const float* const positions, const float* const rotations, const float* const scalings): _state{new State} {
    /* Quiet default log, no plugins, no config file */
    _state->logManager.createLog("", true, false, true);
    _state->root.reset(new Ogre::Root{"", "", ""});
    _state->sceneManager = _state->root->createSceneManager();

    _state->nodes.resize(count);
    _state->nodes[0] = _state->sceneManager->getRootSceneNode();
    for(std::uint32_t i = 1; i != count; ++i) {
        Ogre::SceneNode* const node = _state->nodes[parents[i]]->createChildSceneNode();
        node->setPosition(positions[3*i + 0], positions[3*i + 1], positions[3*i + 2]);
        node->setOrientation(rotations[4*i + 3], rotations[4*i + 0], rotations[4*i + 1], rotations[4*i + 2]);
        node->setScale(scalings[3*i + 0], scalings[3*i + 1], scalings[3*i + 2]);
        _state->nodes[i] = node;
    }
    update();
}

OgreTree::~OgreTree() {
    _state->root->destroySceneManager(_state->sceneManager);
}

void OgreTree::update() {
    /* parentHasChanged = true makes every node recompute its derived transform, the counterpart of
       marking the whole scene dirty */
    _state->nodes[0]->_update(true, true);
}

void OgreTree::worldPosition(const std::uint32_t i, float* const out) const {
    const Ogre::Vector3& p = _state->nodes[i]->_getDerivedPosition();
    out[0] = p.x;
    out[1] = p.y;
    out[2] = p.z;
}
