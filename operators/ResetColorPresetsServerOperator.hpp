#pragma once

#include "platform/cobalt/Color.hpp"
#include "platform/tessel/ServerOperators.hpp"

#include <QByteArray>

#include <memory>
#include <vector>

namespace Datamodel {

/// Answers a client's request to put a canvas's colour preset lists back to the server's configured
/// defaults: each set of a non-zero value to the root's "reset-color-presets-request" seeds
/// "annotation-color-presets", "note-background-color-presets" and "connector-color-presets" again, as the
/// server's own change. "note-text-color-presets" has no default and is left alone. The request is never
/// written back.
///
/// Held by `std::shared_ptr` (it hands itself to the root and the request attribute). Runs inside its
/// document, one change at a time.
class ResetColorPresetsServerOperator : public Tessel::ServerDocumentOperator,
                                        public Tessel::ServerNodeOperator,
                                        public Tessel::ServerAttributeOperator,
                                        public std::enable_shared_from_this<ResetColorPresetsServerOperator> {
public:
    /// The key of the request.
    static constexpr char const s_resetRequestAttr[] = "reset-color-presets-request";

    void addedToDocument(std::shared_ptr<Tessel::ServerDocument> document) override;
    /// Watches the root, and only the root.
    void rootNodeUpdated() override;
    void addedToNode(std::shared_ptr<Tessel::ServerNode> node) override;
    /// Watches the request attribute, stored or new.
    void childAttributeAdded(std::shared_ptr<Tessel::ServerAttribute> attribute) override;
    /// A non-zero request seeds the lists; 0 does nothing.
    void valueSetSimple(Tessel::ServerAttributeSimple& attribute) override;
    /// Seeds the three lists with `effectiveColorPresetDefaults()`.
    void reseed();

private:
    std::weak_ptr<Tessel::ServerDocument> m_document;
};

} // namespace Datamodel
