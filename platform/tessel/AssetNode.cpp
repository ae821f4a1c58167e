#include "platform/tessel/AssetNode.hpp"

namespace Tessel {

AssetNode::AssetNode(QByteArray publicHash, QString originalFileName)
    : m_publicHash(std::move(publicHash)), m_originalFileName(std::move(originalFileName)) {}

AssetNode::~AssetNode() = default;

void AssetNode::update(ClientState state, Progress progress, QString errorText) {
    if (state == m_state && progress == m_progress && errorText == m_errorText) {
        return;
    }
    m_state = state;
    m_progress = progress;
    m_errorText = std::move(errorText);
    stateChanged.raise(m_state, m_progress, m_errorText);
}

} // namespace Tessel
