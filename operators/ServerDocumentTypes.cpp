#include "operators/ServerDocumentTypes.hpp"

#include "canvas/SharedCanvas.hpp"
#include "client/ClientState.hpp"
#include "client/EmblemActions.hpp"
#include "client/EmblemFolder.hpp"
#include "index/ServerIndex.hpp"
#include "platform/tessel/TesselServer.hpp"
#include "session/Connection.hpp"

namespace Datamodel {

namespace {

template <typename Root>
void registerType(Tessel::TesselServer& server, QByteArray const& connectionKey = QByteArray()) {
    std::shared_ptr<Tessel::ElementFactory> const factory = Root::elementFactory();
    server.registerDocumentType(Root::documentType(), factory, factory->keyOf(typeid(Root)), connectionKey);
}

} // namespace

void registerServerDocumentTypes(Tessel::TesselServer& server) {
    std::shared_ptr<Tessel::ElementFactory> const canvasFactory = SharedCanvas::elementFactory();
    registerType<SharedCanvas>(server, canvasFactory->keyOf(typeid(Connection)));
    registerType<ServerIndex>(server);
    registerType<ClientState>(server);
    registerType<EmblemActionMap>(server);
    registerType<EmblemFolder>(server);
}

} // namespace Datamodel
