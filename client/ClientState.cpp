#include "client/ClientState.hpp"

#include "client/VideoInput.hpp"
#include "client/VideoOutputSink2.hpp"
#include "client/Workspace.hpp"
#include "framework/ElementFactoryOnce.hpp"
#include "media/VideoOutputArea.hpp"

namespace Datamodel {

ClientState::ClientState() = default;

QByteArray ClientState::documentType() {
    return QByteArrayLiteral("client-state");
}

std::shared_ptr<Tessel::ElementFactory> ClientState::elementFactory() {
    static std::atomic<bool> built{false};
    static std::shared_ptr<Tessel::ElementFactory> factory;
    return elementFactoryOnce(built, factory, [] {
        auto made = std::make_shared<Tessel::ElementFactory>();
        made->addFactory<ClientState>("tavola_client_state");
        made->addFactory<Workspace>("tavola_workspace");
        made->addFactory<VideoOutputMap>("client_state_video_map");
        made->addFactory<VideoOutputSink2>("client_state_video_output_sink");
        made->addFactory<VideoInputMap>("client_state_video_input_map");
        made->addFactory<VideoInput>("client_state_video_input");
        return made;
    });
}

} // namespace Datamodel
