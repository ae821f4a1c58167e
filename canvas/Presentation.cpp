#include "canvas/Presentation.hpp"

#include "framework/CanvasItem.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Datamodel {

Basalt::EnumNames const s_transitionType{{"none", PresentationSlide::TRANSITION_NONE},
                                         {"pan-and-zoom", PresentationSlide::TRANSITION_PAN_AND_ZOOM},
                                         {"fade", PresentationSlide::TRANSITION_FADE}};

namespace {

// Each candidate is built from the wanted name, never from the previous candidate, so "A (1)" taken gives
// "A (2)" and not "A (1) (1)". The presentation being renamed takes part in the search on purpose.
QString uniqueName(PresentationContainer const& container, QString const& wanted) {
    QString candidate = wanted;
    for (int n = 1; container.findPresentationByName(candidate); ++n) {
        candidate = QStringLiteral("%2 (%1)").arg(QString::number(n), wanted);
    }
    return candidate;
}

// NaN goes last so that the sort always sees a strict weak order, whatever a remote client wrote.
bool orderLess(PresentationSlide const* a, PresentationSlide const* b) {
    float const x = a->order.value();
    float const y = b->order.value();
    if (std::isnan(x) || std::isnan(y)) {
        return !std::isnan(x) && std::isnan(y);
    }
    return x < y;
}

} // namespace

// ---- PresentationContainer

PresentationContainer::PresentationContainer() : CanvasElement(Tessel::Element::Flags::fromBits(1)) {}

PresentationContainer::~PresentationContainer() = default;

std::vector<Presentation*> PresentationContainer::presentations() const {
    std::vector<Presentation*> result;
    for (Entry const& entry : attributes()) {
        if (auto* presentation = dynamic_cast<Presentation*>(entry.second)) {
            result.push_back(presentation);
        }
    }
    return result;
}

Presentation* PresentationContainer::findPresentationByName(QString const& name) const {
    for (Entry const& entry : attributes()) {
        auto* presentation = dynamic_cast<Presentation*>(entry.second);
        if (presentation && presentation->presentationName.value() == name) {
            return presentation;
        }
    }
    return nullptr;
}

Presentation* PresentationContainer::createPresentation(QString const& name) {
    auto* presentation = new Presentation();
    presentation->initName();
    presentation->presentationName = uniqueName(*this, name);
    addAttribute(presentation);
    return presentation;
}

QString PresentationContainer::uiTitleDefault() const {
    return QStringLiteral("Presentations");
}

// ---- Presentation

Presentation::Presentation()
    : CanvasElement(Tessel::Element::Flags::fromBits(1)),
      presentationName(this, QByteArrayLiteral("presentation-name"), QString()) {}

Presentation::~Presentation() = default;

void Presentation::setPresentationName(QString const& name) {
    if (presentationName.value() == name) {
        return;
    }
    auto const* container = dynamic_cast<PresentationContainer const*>(host());
    presentationName = container ? uniqueName(*container, name) : name;
}

std::vector<PresentationSlide*> Presentation::slides() const {
    std::vector<PresentationSlide*> result;
    for (Entry const& entry : attributes()) {
        if (auto* slide = dynamic_cast<PresentationSlide*>(entry.second)) {
            result.push_back(slide);
        }
    }
    std::sort(result.begin(), result.end(), orderLess);
    return result;
}

PresentationSlide* Presentation::firstSlide() const {
    std::vector<PresentationSlide*> const all = slides();
    return all.empty() ? nullptr : all.front();
}

bool Presentation::hasSlides() const {
    return std::any_of(attributes().begin(), attributes().end(), [](Entry const& entry) {
        return dynamic_cast<PresentationSlide const*>(entry.second) != nullptr;
    });
}

PresentationSlide* Presentation::createSlide(QByteArray const& contentGuid, float order) {
    auto* slide = new PresentationSlide();
    slide->initName();
    std::vector<PresentationSlide*> const existing = slides();
    slide->contentId = QString::fromLatin1(contentGuid.constData());
    if (std::isfinite(order)) {
        slide->order = order;
    } else {
        slide->order = existing.empty() ? 1.0f : existing.back()->order.value() + 1.0f;
    }
    addAttribute(slide);
    normalizeOrder();
    return slide;
}

PresentationSlide* Presentation::createSlide(CanvasElement const& content, float order) {
    if (content.guid().isEmpty()) {
        return nullptr;
    }
    return createSlide(content.guid(), order);
}

void Presentation::normalizeOrder() {
    float previous = std::numeric_limits<float>::quiet_NaN();
    for (PresentationSlide* slide : slides()) {
        float const current = slide->order.value();
        if (!std::isfinite(previous)) {
            if (current < 0.0f) {
                slide->order = 1.0f;
            }
        } else if (previous + 0.1f > current) {
            // Pushed a whole step, so that slides put between two others by a fraction stay put.
            slide->order = previous + 1.0f;
        }
        previous = slide->order.value();
    }
}

QString Presentation::uiTitle() const {
    QString const& name = presentationName.value();
    return name.isEmpty() ? uiTitleDefault() : name;
}

QString Presentation::uiTitleDefault() const {
    return QStringLiteral("Presentation");
}

bool Presentation::copyValues(CanvasElement const& source) {
    auto const* other = dynamic_cast<Presentation const*>(&source);
    if (!other) {
        return false;
    }
    bool const copied = CanvasElement::copyValues(source);
    copyAttributeIfDefinedOnUserLayer(presentationName, other->presentationName);
    return copied;
}

// ---- PresentationSlide

PresentationSlide::PresentationSlide()
    : CanvasElement(Tessel::Element::Flags::fromBits(0)),
      contentId(this, QByteArrayLiteral("content-id"), QString()),
      transitionType(this, QByteArrayLiteral("transition-type"), TRANSITION_PAN_AND_ZOOM, s_transitionType),
      videoAutoplay(this, QByteArrayLiteral("video-autoplay"), false),
      focus(this, QByteArrayLiteral("focus"), true), allowTouch(this, QByteArrayLiteral("allow-touch"), true),
      temporaryAnnotation(this, QByteArrayLiteral("temporary-annotation"), false),
      order(this, QByteArrayLiteral("order"), 0.0f) {}

PresentationSlide::~PresentationSlide() = default;

CanvasElement* PresentationSlide::content() const {
    return findByGuid<CanvasElement>(contentId.value().toUtf8());
}

Presentation* PresentationSlide::presentation() const {
    return dynamic_cast<Presentation*>(host());
}

bool PresentationSlide::isSupported(CanvasElement const& element) {
    return dynamic_cast<CanvasItem const*>(&element) != nullptr && !element.guid().isEmpty();
}

bool PresentationSlide::copyValues(CanvasElement const& source) {
    auto const* other = dynamic_cast<PresentationSlide const*>(&source);
    if (!other) {
        return false;
    }
    bool const copied = CanvasElement::copyValues(source);
    copyAttributeIfDefinedOnUserLayer(contentId, other->contentId);
    copyAttributeIfDefinedOnUserLayer(transitionType, other->transitionType);
    copyAttributeIfDefinedOnUserLayer(videoAutoplay, other->videoAutoplay);
    copyAttributeIfDefinedOnUserLayer(focus, other->focus);
    copyAttributeIfDefinedOnUserLayer(allowTouch, other->allowTouch);
    copyAttributeIfDefinedOnUserLayer(temporaryAnnotation, other->temporaryAnnotation);
    copyAttributeIfDefinedOnUserLayer(order, other->order);
    return copied;
}

QString PresentationSlide::uiTitleDefault() const {
    return QStringLiteral("Presentation slide");
}

} // namespace Datamodel
