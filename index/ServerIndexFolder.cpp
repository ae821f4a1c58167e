#include "index/ServerIndexFolder.hpp"

#include "index/CanvasDocument.hpp"
#include "index/ServerIndex.hpp"

namespace Datamodel {

namespace {

/// The text in `name` of every child of `folder` that is a `Child`, trimmed and in lower case.
template <typename Child>
QSet<QString> lowerCaseNames(ServerIndexFolder const& folder, Basalt::AttributeT<QString> Child::*name) {
    QSet<QString> names;
    for (Basalt::Node::Entry const& entry : folder.attributes()) {
        if (auto const* child = dynamic_cast<Child const*>(entry.second)) {
            names.insert((child->*name).value().trimmed().toLower());
        }
    }
    return names;
}

} // namespace

ServerIndexFolder::ServerIndexFolder() : folderName(this, QByteArrayLiteral("folder-name")) {
    folderName.addListener([this] { changedOrAdded(); }, ROLE_CHANGE);
}

ServerIndexFolder::~ServerIndexFolder() {
    erased();
}

QSet<QString> ServerIndexFolder::lowerCaseFolderNames() const {
    return lowerCaseNames(*this, &ServerIndexFolder::folderName);
}

QSet<QString> ServerIndexFolder::lowerCaseCanvasNames() const {
    return lowerCaseNames(*this, &CanvasDocument::canvasName);
}

void ServerIndexFolder::onChanged(ServerIndex& index) {
    index.onFolderChanged.raise(this);
}

void ServerIndexFolder::onAdded(ServerIndex& index) {
    index.addToIndex(this);
    index.onFolderAdded.raise(this);
}

void ServerIndexFolder::onReparented(ServerIndex& index, QByteArray const& oldParentId) {
    if (indexed) {
        index.onFolderReparented.raise(this, oldParentId);
    } else if (!folderName.value().isEmpty()) {
        // A folder is announced once it has a name.
        changedOrAdded();
    }
}

void ServerIndexFolder::onErased(ServerIndex& index, ServerIndexFolder* parent) {
    index.onFolderErased.raise(this, parent);
    index.removeFromIndex(this);
}

} // namespace Datamodel
