#include "canvas/Note.hpp"

#include "canvas/Hsluv.hpp"
#include "platform/cobalt/Trace.hpp"
#include "platform/cobalt/VersionString.hpp"
#include "platform/tessel/DocumentConnection.hpp"

#include <cmath>

namespace Datamodel {

Note::Note()
    : CanvasItem(Tessel::Element::Flags::fromBits(0)), text(this, QByteArrayLiteral("text"), QString()),
      backgroundColor(this, QByteArrayLiteral("background-color"), Cobalt::toPMA(Cobalt::Color("red"))),
      title(this, QByteArrayLiteral("title"), QString()),
      textColor(nullptr, QByteArrayLiteral("text-color"), Cobalt::ColorPMA(0.0f, 0.0f, 0.0f, 1.0f)),
      autoTextColor(nullptr, QByteArrayLiteral("auto-text-color"), true) {
    // The red of a new note counts as the user's choice, so that it is stored and copied like any colour.
    backgroundColor.setValue(backgroundColor.value(), Basalt::Attribute::LAYER_USER);
    size.set(300.0f, Basalt::Attribute::LAYER_DEFAULT, Basalt::Attribute::UNIT_NUMBER);
    minimumSize = Fathom::SizeT<float>(30.0f, 30.0f);
    backgroundColor.addListener([this] { updateTextColor(); }, Basalt::Attribute::ROLE_CHANGE);
    autoTextColor.addListener([this] { updateTextColor(); }, Basalt::Attribute::ROLE_CHANGE);
}

Note::~Note() = default;

void Note::initialize(Tessel::DocumentConnection& connection) {
    auto const link = connection.connection();
    if (!link) {
        Cobalt::Trace::error("Note::initialize # No connection to determine version");
        return;
    }
    // Servers before this release don't know the two attributes; sending them would break their documents.
    static Cobalt::VersionString const firstWithTextColor(QStringLiteral("3.2.0"));
    if (link->serverVersion() < firstWithTextColor) {
        return;
    }
    // A second initialisation must not move them to the end of the note.
    if (textColor.host() != this) {
        addAttribute(&textColor);
    }
    if (autoTextColor.host() != this) {
        addAttribute(&autoTextColor);
    }
}

bool Note::copyValues(CanvasElement const& source) {
    auto const* other = dynamic_cast<Note const*>(&source);
    if (!other) {
        return false;
    }
    bool const copied = CanvasItem::copyValues(source);
    // Background before the text colour: its write runs the listener, and the later writes then restore
    // exactly the state the source had.
    copyAttributeIfDefinedOnUserLayer(text, other->text);
    copyAttributeIfDefinedOnUserLayer(backgroundColor, other->backgroundColor);
    copyAttributeIfDefinedOnUserLayer(title, other->title);
    copyAttributeIfDefinedOnUserLayer(textColor, other->textColor);
    copyAttributeIfDefinedOnUserLayer(autoTextColor, other->autoTextColor);
    return copied;
}

QString Note::uiTitleDefault() const {
    return QStringLiteral("Note");
}

void Note::updateTextColor() {
    if (!autoTextColor.value()) {
        return;
    }
    Cobalt::ColorPMA const background = backgroundColor.value();
    float red = background.red;
    float green = background.green;
    float blue = background.blue;
    // A fully transparent colour has lost its hue; its components are taken as they stand.
    if (std::abs(background.alpha) > 1.1920929e-7f) {
        red /= background.alpha;
        green /= background.alpha;
        blue /= background.alpha;
    }
    double const lightness = rgb2hsluv({red, green, blue})[2];
    char const* const name = lightness > 60.0 ? "black" : "white";
    // Written on the user layer so that every site arrives at the same shared value.
    textColor = Cobalt::toPMA(Cobalt::Color(name));
}

} // namespace Datamodel
