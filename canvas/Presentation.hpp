#pragma once

#include "attributes/AttributeT.hpp"
#include "framework/CanvasElement.hpp"

#include <QString>

#include <vector>

namespace Datamodel {

class Presentation;
class PresentationSlide;

/// The names of `PresentationSlide::TransitionType`: "none" 0, "pan-and-zoom" 1, "fade" 2. Built at load;
/// every slide's "transition-type" refers to it.
extern Basalt::EnumNames const s_transitionType;

/// The child "presentations" of a canvas root: holds the canvas's presentations, each under its own name.
/// Belongs to the thread of its document, like every element.
class PresentationContainer : public CanvasElement {
public:
    PresentationContainer();
    ~PresentationContainer() override;

    /// The children that are presentations, in child order. The container keeps ownership.
    std::vector<Presentation*> presentations() const;
    /// The first child presentation whose "presentation-name" equals `name` exactly (case counts); null if
    /// none.
    Presentation* findPresentationByName(QString const& name) const;
    /// Adds a new presentation, with a fresh guid, named `name` or, when that is taken, "`name` (n)" with the
    /// smallest n from 1 up that is free. The container owns the result; never null.
    Presentation* createPresentation(QString const& name);

    QString uiTitleDefault() const override;
};

/// A named walk over items of a canvas. Its slides are children; their order is the value of each slide's
/// "order", never the order of the children.
class Presentation : public CanvasElement {
public:
    Presentation();
    ~Presentation() override;

    /// Renames the presentation. Inside a `PresentationContainer` the name is made unique as
    /// `PresentationContainer::createPresentation` does; elsewhere `name` is taken as it stands. The
    /// current name again changes nothing.
    void setPresentationName(QString const& name);

    /// The child slides, sorted by "order" ascending; equal orders come in no defined order. A NaN order,
    /// which no operation here writes, sorts after every number.
    std::vector<PresentationSlide*> slides() const;
    /// The first of `slides()`; null without slides.
    PresentationSlide* firstSlide() const;
    /// Whether some child is a slide.
    bool hasSlides() const;

    /// Adds a slide showing the element with guid `contentGuid` (read as Latin-1 up to its first zero byte).
    /// A finite `order` is kept where the spacing allows; any other value puts the slide last. Then
    /// `normalizeOrder` runs. The presentation owns the result; never null.
    PresentationSlide* createSlide(QByteArray const& contentGuid, float order);
    /// The same for `content`'s guid; null, and no slide made, when `content` has no guid.
    PresentationSlide* createSlide(CanvasElement const& content, float order);

    /// Spaces the slides' orders: the first not negative (1.0 when it was), and each next at least 0.1 past
    /// the one before, or else moved to a whole 1.0 past it. Float arithmetic throughout.
    void normalizeOrder();

    /// "presentation-name" when not empty, else `uiTitleDefault()`.
    QString uiTitle() const override;
    QString uiTitleDefault() const override;
    /// Copies a user-set name without making it unique.
    bool copyValues(CanvasElement const& source) override;

    /// The name shown to users.
    Basalt::AttributeT<QString> presentationName;
};

/// One step of a presentation: points by guid at a canvas item and says how to arrive there. The five flags
/// are for the presenting client; this library attaches no behaviour to them.
class PresentationSlide : public CanvasElement {
public:
    /// How the view moves to the slide; names in `s_transitionType`.
    enum TransitionType : int {
        TRANSITION_NONE = 0,
        TRANSITION_PAN_AND_ZOOM = 1,
        TRANSITION_FADE = 2,
    };

    PresentationSlide();
    ~PresentationSlide() override;

    /// The element named by "content-id", searched for in the whole document that holds the slide (or the
    /// tree it is in). Null when there is none or it is no `CanvasElement`: callers must expect a slide
    /// whose content has gone and that the server hasn't removed yet.
    CanvasElement* content() const;
    /// The host presentation; null when the slide has no host or another kind of host.
    Presentation* presentation() const;

    /// Whether `element` may be slide content: a `CanvasItem` with a guid.
    static bool isSupported(CanvasElement const& element);

    /// Copies each of the seven attributes that `source` holds on the user layer.
    bool copyValues(CanvasElement const& source) override;
    QString uiTitleDefault() const override;

    /// Guid of the element shown.
    Basalt::AttributeT<QString> contentId;
    Basalt::AttributeT<TransitionType> transitionType;
    Basalt::AttributeT<bool> videoAutoplay;
    Basalt::AttributeT<bool> focus;
    Basalt::AttributeT<bool> allowTouch;
    Basalt::AttributeT<bool> temporaryAnnotation;
    /// Place among the presentation's slides; ascending.
    Basalt::AttributeT<float> order;
};

} // namespace Datamodel
