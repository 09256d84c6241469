#ifndef QuillmarshEngine_Data_Scene_h
#define QuillmarshEngine_Data_Scene_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::Scene, function @ref QuillmarshEngine::Data::createSceneData()
 *
 * The scene record, payload of a @ref Magic::Scene chunk, stores a scene graph and every manager
 * registered with it as their storage blocks, which already are their serialized form. All
 * integers little-endian:
 *
 * | offset | size | field |
 * |---|---|---|
 * | 0 | 4 | format version, @ref SceneRecordVersion |
 * | 4 | 2 | section count: the scene graph and one per registered manager |
 * | 6 | 2 | flags: bit 0 set when the scene graph was active |
 * | 8 | ... | the sections, back to back, each starting 4-byte aligned |
 *
 * One section:
 *
 * | offset | size | field |
 * |---|---|---|
 * | 0 | 12 | type name, zero-padded and zero-terminated: `"scenegraph"` for the scene graph, else the manager's @ref ComponentManager::name() |
 * | 12 | 2 | manager slot in the scene graph, 65535 for the scene graph |
 * | 14 | 2 | reserved, 0 |
 * | 16 | 4 | block size b |
 * | 20 | 4 | external state size e |
 * | 24 | b | the storage block (@ref SparseArray::data()) |
 * | 24 + b rounded up to 4 | e | what the manager keeps outside its block (@ref ComponentManager::saveExternalState()) |
 *
 * The next section starts at 24 + b + e, both rounded up to 4. The scene graph's section comes
 * first; the slot names are part of its block. Nothing follows the last section. World
 * transformations and other columns a manager derives each frame are not stored.
 *
 * Records that live beside the scene in a data file are referred to by their order among the
 * chunks of their type: mesh index i of a mesh component is the i-th @ref Magic::Mesh chunk,
 * material index i the i-th @ref Magic::Material chunk, animation index i the i-th
 * @ref Magic::Animation chunk.
 */

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "QuillmarshEngine/Data/AssetValidation.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/TranslationManager.h"
#include "QuillmarshEngine/Utils/Result.h"

namespace QuillmarshEngine { namespace Data {

class ComponentManager;

/** @brief Format version of the scene record */
constexpr std::uint32_t SceneRecordVersion = 1;

/** @brief Bytes of the scene record header */
constexpr std::size_t SceneRecordHeaderSize = 8;

/** @brief Bytes of a section header of the scene record */
constexpr std::size_t SceneSectionHeaderSize = 24;

/** @brief Slot field of the scene graph's section */
constexpr std::uint16_t SceneGraphSection = 0xffff;

/**
 * @brief Scene record payload of @p graph and its registered managers
 *
 * Wrap it with @ref AssetChunk::create() and @ref Magic::Scene. Expects every registered
 * manager's @ref ComponentManager::name() to be at most 11 characters long.
 */
QUILLMARSH_EXPORT std::vector<char> createSceneData(const SceneGraph& graph);

/**
 * @brief One section of a scene record
 *
 * What @ref listSceneSections() finds; views into the record.
 */
struct SceneSection {
    std::string_view type;          /**< Type name */
    std::uint16_t slot;             /**< Manager slot, @ref SceneGraphSection for the scene graph */
    std::span<const char> block;    /**< Storage block */
    std::span<const char> external; /**< External state */
};

/**
 * @brief Sections of an untrusted scene record
 *
 * Checks the header, that every section lies inside @p payload, has a terminated type name and
 * zero reserved bytes, that the scene graph's section comes first and alone, and that nothing
 * follows the last section. Does not look into the blocks. Never reads outside @p payload.
 */
QUILLMARSH_EXPORT Utils::Result<std::vector<SceneSection>> listSceneSections(std::span<const char> payload);

/**
 * @brief A loaded scene: its data file, scene graph and managers
 *
 * Owns the bytes of the data file it was loaded from, the scene graph, one manager per section
 * of the scene record (registered in its slot) and a translation manager. Records beside the
 * scene (meshes, materials, textures, images, skins) stay in the file's bytes: look them up with
 * @ref records(). Loading checks everything, so a file from elsewhere gives an error result,
 * never a crash or a read outside the file. Not thread-safe: one thread drives a scene.
 */
class QUILLMARSH_EXPORT Scene {
    public:
        /**
         * @brief Load a data file
         *
         * Validates the whole file (@ref validateAssetData()), takes its bytes and loads its
         * first @ref Magic::Scene record: the scene graph is adopted with
         * @ref SceneGraph::adopt(), each manager with @ref SparseArray::adoptBlock() and
         * @ref ComponentManager::loadExternalState(); the animation manager first gets the
         * animations of the file's @ref Magic::Animation records, in file order. Every component
         * must then be listed exactly once, in its owner's run, and every listed component must
         * be alive in the manager of its slot. The first language and locale records, if any, go
         * to @ref translations(). A scene graph saved active is activated. Returns the first fault
         * found.
         */
        static Utils::Result<std::unique_ptr<Scene>> load(std::vector<char>&& data);

        /**
         * @brief Read the data file at @p path and @ref load() it
         *
         * A file that can't be read gives an error naming the path.
         */
        static Utils::Result<std::unique_ptr<Scene>> loadFile(const std::string& path);

        /**
         * @brief Load a scene record alone
         *
         * As @ref load() for the payload of one @ref Magic::Scene chunk, without a file around
         * it: no animations are added, so animation indices name nothing until the host adds
         * animations.
         */
        static Utils::Result<std::unique_ptr<Scene>> loadRecord(std::span<const char> payload);

        ~Scene();

        Scene(const Scene&) = delete;
        Scene& operator=(const Scene&) = delete;

        /** @brief The scene graph */
        [[nodiscard]] SceneGraph& sceneGraph() { return *_graph; }
        [[nodiscard]] const SceneGraph& sceneGraph() const { return *_graph; } /**< @overload */

        /** @brief Manager in slot @p slot, `nullptr` when none; expects @p slot below the slot count */
        [[nodiscard]] ComponentManager* manager(std::uint16_t slot) const { return _graph->componentManager(slot); }

        /** @brief Manager in the slot named @p name, `nullptr` when none */
        [[nodiscard]] ComponentManager* manager(std::string_view name) const;

        /** @brief First manager of type @p T in slot order, `nullptr` when none */
        template<class T> [[nodiscard]] T* manager() const {
            for(const std::unique_ptr<ComponentManager>& m: _managers)
                if(T* const typed = dynamic_cast<T*>(m.get())) return typed;
            return nullptr;
        }

        /** @brief Translations of the file's language and locale records */
        [[nodiscard]] TranslationManager& translations() { return _translations; }

        /** @brief Bytes of the data file, empty for @ref loadRecord() */
        [[nodiscard]] std::span<const char> data() const { return _data; }

        /** @brief Chunks of the data file, empty for @ref loadRecord() */
        [[nodiscard]] std::span<const AssetChunkEntry> chunks() const { return _chunks; }

        /** @brief Payloads of the chunks of type @p magic, in file order */
        [[nodiscard]] std::vector<std::span<const char>> records(Magic magic) const;

    private:
        explicit Scene();

        static Utils::Result<std::unique_ptr<Scene>> loadInto(std::unique_ptr<Scene> scene, std::span<const char> payload);

        std::vector<char> _data;
        std::vector<AssetChunkEntry> _chunks;
        /* Declared before the managers: they are destroyed first and unlist their components
           from a graph that still exists */
        std::unique_ptr<SceneGraph> _graph;
        std::vector<std::unique_ptr<ComponentManager>> _managers;
        TranslationManager _translations;
};

}}

#endif
