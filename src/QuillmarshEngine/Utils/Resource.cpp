#include "QuillmarshEngine/Utils/Resource.h"

#include "QuillmarshEngine/Assert.h"

namespace QuillmarshEngine { namespace Utils {

namespace {

const Implementation::ResourceGroup* findGroup(const std::string_view name) {
    for(std::size_t i = 0; i != Implementation::ResourceGroupCount; ++i)
        if(Implementation::ResourceGroups[i].name == name) return Implementation::ResourceGroups + i;
    return nullptr;
}

}

bool Resource::hasGroup(const std::string_view group) {
    return findGroup(group);
}

Resource::Resource(const std::string_view group): _group{findGroup(group)} {
    QUILLMARSH_ASSERT(_group, "Utils::Resource::Resource(): group" << group << "was not found", );
}

std::string_view Resource::group() const {
    return _group->name;
}

std::vector<std::string_view> Resource::list() const {
    std::vector<std::string_view> names;
    names.reserve(_group->fileCount);
    for(std::size_t i = 0; i != _group->fileCount; ++i) names.push_back(_group->files[i].name);
    return names;
}

bool Resource::hasFile(const std::string_view filename) const {
    for(std::size_t i = 0; i != _group->fileCount; ++i)
        if(_group->files[i].name == filename) return true;
    return false;
}

std::string_view Resource::getString(const std::string_view filename) const {
    for(std::size_t i = 0; i != _group->fileCount; ++i)
        if(_group->files[i].name == filename) return _group->files[i].data;
    return {};
}

}}
