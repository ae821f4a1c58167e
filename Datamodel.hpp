#pragma once
// One include for a user of the library: every public header of the model and of its platform.
