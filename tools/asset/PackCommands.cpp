#include "PackCommands.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <unistd.h>

#include <QuillmarshEngine/Data/AnimationData.h>
#include <QuillmarshEngine/Data/AssetData.h>
#include <QuillmarshEngine/Data/AssetValidation.h>
#include <QuillmarshEngine/Data/ImageData.h>
#include <QuillmarshEngine/Data/LanguageData.h>
#include <QuillmarshEngine/Data/LocaleData.h>
#include <QuillmarshEngine/Data/MeshData.h>
#include <QuillmarshEngine/Data/MeshManager.h>
#include <QuillmarshEngine/Data/NameManager.h>
#include <QuillmarshEngine/Data/PipelineData.h>
#include <QuillmarshEngine/Data/ShaderData.h>
#include <QuillmarshEngine/Data/Scene.h>
#include <QuillmarshEngine/Tools/SceneImporter.h>
#include <QuillmarshEngine/Trade/VertexFormat.h>

#include "InputFile.h"

namespace QuillmarshEngine { namespace AssetTool {

namespace {

constexpr const char* Program = "quillmarsh-asset";

int fail(const std::string& message) {
    std::fprintf(stderr, "%s: %s\n", Program, message.c_str());
    return 1;
}

template<class T> std::string text(const T& value) {
    std::ostringstream out;
    Debug{&out, Debug::Flag::NoNewlineAtTheEnd} << value;
    return out.str();
}

template<class T> T read(std::span<const char> data, std::size_t at) {
    T value{};
    if(at + sizeof(T) <= data.size()) std::memcpy(&value, data.data() + at, sizeof(T));
    return value;
}

/* Progress as a bar that redraws itself on a terminal, as plain lines otherwise */
struct Progress {
    bool terminal = isatty(STDOUT_FILENO) == 1;

    void operator()(std::size_t done, std::size_t total) const {
        if(!total) return;
        if(terminal) {
            constexpr std::size_t Width = 40;
            const std::size_t filled = done*Width/total;
            std::printf("\r[%s%s] %zu/%zu", std::string(filled, '#').c_str(), std::string(Width - filled, '.').c_str(), done, total);
            if(done == total) std::printf("\n");
        } else std::printf("packed %zu of %zu\n", done, total);
        std::fflush(stdout);
    }
};

void hexLines(std::span<const char> bytes, std::size_t limit) {
    for(std::size_t at = 0; at < bytes.size() && at < limit; at += 16) {
        std::printf("    %08zx ", at);
        for(std::size_t i = at; i != at + 16 && i != bytes.size(); ++i) std::printf(" %02x", unsigned(std::uint8_t(bytes[i])));
        std::printf("\n");
    }
    if(bytes.size() > limit) std::printf("    ... %zu more bytes\n", bytes.size() - limit);
}

void dumpMesh(std::span<const char> payload) {
    const Data::MeshData mesh{payload};
    const Math::BoundingSphere<float> sphere = mesh.boundingSphere();
    std::printf("  %u vertices, %u indices of %s, %u attributes\n", mesh.vertexCount(), mesh.indexCount(), text(mesh.indexType()).c_str(), mesh.attributeCount());
    std::printf("  vertex bytes %u%s, index bytes %u%s\n", mesh.vertexDataSize(), mesh.isVertexDataCompressed() ? " (compressed)" : "",
        mesh.indexDataSize(), mesh.isIndexDataCompressed() ? " (compressed)" : "");
    std::printf("  bounding sphere center (%g, %g, %g) radius %g\n", double(sphere.center().x()), double(sphere.center().y()), double(sphere.center().z()), double(sphere.radius()));
    for(std::uint32_t i = 0; i != mesh.attributeCount(); ++i) {
        const Data::MeshData::MeshAttributeData32 a = mesh.attribute(i);
        std::printf("  attribute %u: %s %s, offset %u, stride %d%s\n", i, text(Trade::MeshAttribute(a.name)).c_str(),
            text(Trade::VertexFormat(a.format)).c_str(), a.offset, int(a.stride), a.arraySize ? (", array of " + std::to_string(a.arraySize)).c_str() : "");
    }
}

void dumpScene(std::span<const char> payload) {
    Utils::Result<std::unique_ptr<Data::Scene>> loaded = Data::Scene::loadRecord(payload);
    if(!loaded) {
        std::printf("  broken: %s\n", loaded.error().c_str());
        return;
    }
    const Data::Scene& scene = **loaded;
    const Data::SceneGraph& graph = scene.sceneGraph();
    std::printf("  %u objects, %u of %u component entries, %u manager slots%s\n", graph.size(), graph.componentCount(), graph.componentCapacity(),
        graph.managerCount(), graph.activated() ? ", active" : "");
    for(std::uint16_t slot = 0; slot != graph.managerCount(); ++slot) {
        const Data::ComponentManager* const m = graph.componentManager(slot);
        std::printf("  slot %u %s: %s", slot, std::string{graph.componentManagerName(slot)}.c_str(), m ? m->name() : "(empty)");
        if(m) std::printf(", %u components, %u active", m->size(), m->activeCount());
        std::printf("\n");
    }
    const Data::NameManager* const names = scene.manager<Data::NameManager>();
    const Data::MeshManager* const meshes = scene.manager<Data::MeshManager>();
    std::vector<std::uint32_t> depth(graph.size());
    for(Data::SceneGraph::IndexType i = 0; i != graph.size(); ++i) {
        const Data::ObjectData& o = graph.objects()[i];
        depth[i] = i ? depth[o.parent] + 1 : 0;
        const Data::Id id = graph.idOf(i);
        const DualQuaternion& t = graph.localTransformations()[i];
        const Vector3 translation = t.translation();
        const Quaternion rotation = t.rotation();
        const Vector3& s = graph.localScalings()[i];
        std::printf("  %*sId(%u)%s%s: translation (%g, %g, %g) rotation (%g, %g, %g, %g) scaling (%g, %g, %g)\n", int(2*depth[i]), "", id.value,
            names && !names->objectName(id).empty() ? " " : "", names ? std::string{names->objectName(id)}.c_str() : "",
            double(translation.x()), double(translation.y()), double(translation.z()),
            double(rotation.vector().x()), double(rotation.vector().y()), double(rotation.vector().z()), double(rotation.scalar()),
            double(s.x()), double(s.y()), double(s.z()));
        const std::span<const Data::Id> ids = graph.componentIds(id);
        const std::span<const std::uint8_t> slots = graph.componentManagerIndices(id);
        for(std::size_t k = 0; k != ids.size(); ++k) {
            const Data::ComponentManager* const m = graph.componentManager(slots[k]);
            if(m == names) continue;
            std::printf("  %*s  %s Id(%u)", int(2*depth[i]), "", m->name(), ids[k].value);
            if(m == meshes) {
                const Data::SparseArray::IndexType index = meshes->indexOf(ids[k]);
                std::printf(": mesh %u, material %u, skin %u", meshes->meshes()[index], meshes->materials()[index], meshes->skins()[index]);
            }
            std::printf("\n");
        }
    }
}

void dumpRecord(Data::Magic magic, std::span<const char> payload) {
    switch(magic) {
        case Data::Magic::Header:
            std::printf("  format words 0x%08x %u, largest chunk %u bytes, %u chunks\n", read<std::uint32_t>(payload, 0),
                read<std::uint32_t>(payload, 4), read<std::uint32_t>(payload, 8), read<std::uint32_t>(payload, 12));
            return;
        case Data::Magic::Mesh: return dumpMesh(payload);
        case Data::Magic::Scene: return dumpScene(payload);
        case Data::Magic::Animation: {
            const Data::AnimationData animation{payload};
            std::printf("  duration %gs, %u tracks, %s keys, %u events\n", double(animation.duration()), animation.trackCount(),
                animation.isCompressed() ? "compressed" : "plain", animation.eventCount());
            for(std::uint32_t t = 0; t != animation.trackCount(); ++t) {
                const Data::AnimationData::TrackHeader h = animation.trackHeader(t);
                std::printf("  track %u: %u translation, %u rotation, %u scale keys\n", t, h.translationCount, h.rotationCount, h.scaleCount);
            }
            return;
        }
        case Data::Magic::AnimationTargets: {
            const Data::AnimationTargetsData targets{payload};
            std::printf("  animation %u drives", targets.animation());
            for(const Data::Id id: targets.targets()) std::printf(" Id(%u)", id.value);
            std::printf("\n");
            return;
        }
        case Data::Magic::Image: {
            const Data::ImageData image{payload};
            const std::array<std::int32_t, 3> size = image.size();
            std::printf("  %d x %d x %d, %u levels\n", size[0], size[1], size[2], image.hashCount());
            for(std::uint32_t i = 0; i != image.hashCount(); ++i) std::printf("  level %u: %s\n", i, std::string{image.hash(i)}.c_str());
            return;
        }
        case Data::Magic::ImageTile:
            std::printf("  hash %.32s, value %u, %zu bytes of pixels\n", payload.data(), read<std::uint32_t>(payload, 32), payload.size() - 40);
            return;
        case Data::Magic::Texture:
            std::printf("  image %u, second %u, filters %u %u, mipmap %u, wrapping %u %u %u\n", read<std::uint16_t>(payload, 0), read<std::uint16_t>(payload, 2),
                read<std::uint32_t>(payload, 4), read<std::uint32_t>(payload, 8), read<std::uint32_t>(payload, 12),
                read<std::uint32_t>(payload, 16), read<std::uint32_t>(payload, 20), read<std::uint32_t>(payload, 24));
            return;
        case Data::Magic::Material: {
            std::printf("  pipeline %d, alpha mode %u, mask threshold %g, opacity %g\n", read<std::int32_t>(payload, 0), read<std::uint32_t>(payload, 4),
                double(read<float>(payload, 8)), double(read<float>(payload, 12)));
            const std::span<const char> p = payload.subspan(std::min<std::size_t>(20, payload.size()));
            if(p.size() == Tools::SceneMaterialParametersSize) {
                std::printf("  base colour (%g, %g, %g, %g), emissive (%g, %g, %g), metallic %g, roughness %g, alpha cutoff %g\n",
                    double(read<float>(p, 0)), double(read<float>(p, 4)), double(read<float>(p, 8)), double(read<float>(p, 12)),
                    double(read<float>(p, 16)), double(read<float>(p, 20)), double(read<float>(p, 24)),
                    double(read<float>(p, 28)), double(read<float>(p, 32)), double(read<float>(p, 36)));
                std::printf("  textures: base colour %d, normal %d, metallic-roughness %d, occlusion %d, emissive %d\n",
                    read<std::int32_t>(p, 40), read<std::int32_t>(p, 44), read<std::int32_t>(p, 48), read<std::int32_t>(p, 52), read<std::int32_t>(p, 56));
            } else hexLines(p, 256);
            return;
        }
        case Data::Magic::Skin: {
            const std::uint32_t joints = read<std::uint32_t>(payload, 0);
            std::printf("  %u joints\n", joints);
            for(std::uint32_t j = 0; j != joints && 4 + 44*std::size_t{joints} + 2*std::size_t{j} + 2 <= payload.size(); ++j) {
                const std::size_t t = 4 + 32*std::size_t{j}, s = 4 + 32*std::size_t{joints} + 12*std::size_t{j};
                std::printf("  joint %u: Id(%u), inverse bind real (%g, %g, %g, %g) dual (%g, %g, %g, %g) scaling (%g, %g, %g)\n", j,
                    read<std::uint16_t>(payload, 4 + 44*std::size_t{joints} + 2*std::size_t{j}),
                    double(read<float>(payload, t)), double(read<float>(payload, t + 4)), double(read<float>(payload, t + 8)), double(read<float>(payload, t + 12)),
                    double(read<float>(payload, t + 16)), double(read<float>(payload, t + 20)), double(read<float>(payload, t + 24)), double(read<float>(payload, t + 28)),
                    double(read<float>(payload, s)), double(read<float>(payload, s + 4)), double(read<float>(payload, s + 8)));
            }
            return;
        }
        case Data::Magic::External:
            std::printf("  file %s\n", payload.data());
            return;
        case Data::Magic::Language: {
            const Utils::Result<Data::LanguageData> language = Data::readLanguageData(payload);
            if(!language) break;
            std::printf("  %s (%s), %u terms\n", std::string{language->name()}.c_str(), std::string{language->code()}.c_str(), language->pairCount());
            for(std::uint32_t i = 0; i != language->pairCount(); ++i)
                std::printf("  \"%s\" -> \"%s\"\n", std::string{language->term(i)}.c_str(), std::string{language->translation(i)}.c_str());
            return;
        }
        case Data::Magic::Locale: {
            const Utils::Result<Data::LocaleData> locale = Data::readLocaleData(payload);
            if(!locale) break;
            std::printf("  %u pairs, %u links\n", locale->pairCount(), locale->linkCount());
            for(std::uint32_t i = 0; i != locale->pairCount(); ++i)
                std::printf("  pair \"%s\" \"%s\" \"%s\"\n", std::string{locale->pairFirst(i)}.c_str(), std::string{locale->pairSecond(i)}.c_str(), std::string{locale->pairExtra(i)}.c_str());
            for(std::uint32_t i = 0; i != locale->linkCount(); ++i) {
                const Data::LocaleLinkHeader link = locale->link(i);
                std::printf("  link: component %u, type %u, parameter %u, term \"%s\"\n", link.component, link.type, link.parameter, std::string{locale->linkTerm(i)}.c_str());
            }
            return;
        }
        case Data::Magic::Shader: {
            const Data::ShaderData shader{payload};
            std::printf("  %s %s, %s, %u source bytes\n", text(shader.stage()).c_str(), text(shader.type()).c_str(), std::string{shader.name()}.c_str(), shader.sourceSize());
            if(shader.hasSecond()) std::printf("  second: %s, %u source bytes\n", std::string{shader.secondName()}.c_str(), shader.secondSourceSize());
            return;
        }
        case Data::Magic::Draw: {
            const Data::Draw draw = read<Data::Draw>(payload, 0);
            std::printf("  mesh %u, material %u, pipeline %u, object Id(%u), skin %u, flags 0x%x, %u instances, layer %u\n", draw.mesh, draw.material,
                draw.pipeline, draw.object, draw.skin, draw.flags, draw.instanceCount, draw.layer);
            std::printf("  bounding sphere (%g, %g, %g) radius %g, scaling (%g, %g, %g)\n", double(draw.boundingSphere[0]), double(draw.boundingSphere[1]),
                double(draw.boundingSphere[2]), double(draw.boundingSphere[3]), double(draw.scaling[0]), double(draw.scaling[1]), double(draw.scaling[2]));
            return;
        }
        default: break;
    }
    /* Records without a text form of their own */
    hexLines(payload, 256);
}

}

int packCommand(const std::string& in, const std::string& out, const bool quantize, const bool compress) {
    Tools::SceneImportFlags flags;
    if(quantize) flags |= Tools::SceneImportFlag::Quantize;
    if(compress) flags |= Tools::SceneImportFlag::Compress;
    Tools::SceneImportSummary summary;
    const Progress progress;
    /* The library's informational lines would break the bar; warnings still show */
    Debug silence{nullptr};
    Utils::Result<std::vector<char>> data = Tools::importScene(in, flags, &summary, [&](std::size_t done, std::size_t total) { progress(done, total); });
    if(!data) return fail(data.error());
    std::ofstream file{out, std::ios::binary|std::ios::trunc};
    if(!file.write(data->data(), std::streamsize(data->size())) || !file.flush())
        return fail(out + ": can't be written");

    std::printf("%-18s %14s\n", "", "count");
    const std::pair<const char*, std::uint64_t> rows[]{
        {"objects", summary.objects}, {"meshes", summary.meshes}, {"vertices", summary.vertices},
        {"indices", summary.indices}, {"materials", summary.materials}, {"textures", summary.textures},
        {"images", summary.images}, {"views", summary.views}, {"lights", summary.lights},
        {"skins", summary.skins}, {"animations", summary.animations}, {"warnings", summary.warnings}};
    for(const auto& row: rows) std::printf("%-18s %14llu\n", row.first, (unsigned long long)row.second);
    std::printf("%-18s %14llu\n", "mesh bytes before", (unsigned long long)summary.meshBytesBefore);
    std::printf("%-18s %14llu  (%.2fx)\n", "mesh bytes after", (unsigned long long)summary.meshBytesAfter,
        summary.meshBytesBefore ? double(summary.meshBytesAfter)/double(summary.meshBytesBefore) : 0.0);
    std::printf("%-18s %14llu\n", "file bytes", (unsigned long long)summary.bytesAfter);
    std::printf("%s: written\n", out.c_str());
    return 0;
}

int dumpCommand(const std::string& path, const long long chunk) {
    std::string error;
    const std::unique_ptr<InputFile> file = InputFile::open(path, error);
    if(!file) return fail(error);
    const std::span<const char> data = file->map(error);
    if(data.empty()) return fail(error);
    /* The record views trust what they read: only a valid file is dumped */
    Debug silence{nullptr};
    const Utils::Result<std::vector<Data::AssetChunkEntry>> chunks = Data::validateAssetData(data);
    if(!chunks) return fail(path + ": " + chunks.error());
    if(chunk >= 0 && std::size_t(chunk) >= chunks->size())
        return fail(path + " has " + std::to_string(chunks->size()) + " chunks, there is no chunk " + std::to_string(chunk));
    for(std::size_t i = 0; i != chunks->size(); ++i) {
        if(chunk >= 0 && std::size_t(chunk) != i) continue;
        const Data::AssetChunkEntry& entry = (*chunks)[i];
        std::printf("chunk %zu at offset %llu: %s, %u bytes\n", i, (unsigned long long)entry.offset, text(entry.magic).c_str(), entry.size);
        dumpRecord(entry.magic, data.subspan(std::size_t(entry.offset) + 8, entry.size));
    }
    return 0;
}

void printSceneSummary(const std::span<const char> payload) {
    const Utils::Result<std::vector<Data::SceneSection>> sections = Data::listSceneSections(payload);
    if(!sections) {
        std::printf("  broken: %s\n", sections.error().c_str());
        return;
    }
    for(const Data::SceneSection& section: *sections) {
        const std::uint16_t count = read<std::uint16_t>(section.block, 10);
        if(section.slot == Data::SceneGraphSection)
            std::printf("  %-11s %5u objects, %u block bytes\n", std::string{section.type}.c_str(), unsigned(count), unsigned(section.block.size()));
        else
            std::printf("  %-11s %5u components in slot %u, %u block bytes, %u external bytes\n", std::string{section.type}.c_str(),
                unsigned(count), unsigned(section.slot), unsigned(section.block.size()), unsigned(section.external.size()));
    }
}

}}
