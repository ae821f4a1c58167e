// Uses the installed library as a user would: one include, a node with a typed attribute, a listener.
#include <Datamodel.hpp>

#include <cstdio>

int main() {
    Basalt::Node note;
    Basalt::AttributeT<float> width(&note, "width", 100.0f);
    int changes = 0;
    width.addListener([&changes] { ++changes; }, Basalt::Attribute::ROLE_CHANGE);
    width = 240.0f;
    bool const ok = changes == 1 && width.value() == 240.0f && note.attribute("width") == &width &&
                    !Datamodel::libraryVersion().isEmpty();
    std::printf("consumer %s: library %s\n", ok ? "ok" : "FAILED", qPrintable(Datamodel::libraryVersion()));
    return ok ? 0 : 1;
}
