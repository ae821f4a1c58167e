#pragma once

namespace Tessel {
class TesselServer;
}

namespace Datamodel {

/// Teaches a server the five document types of the model: "kx-tavola" (with a connection element for each
/// client in its transient tree), "server-index", "client-state", "emblem-action" and "personal-folder". Call
/// once per server, before clients open documents.
void registerServerDocumentTypes(Tessel::TesselServer& server);

} // namespace Datamodel
