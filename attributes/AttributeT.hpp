#pragma once

// Every typed attribute: include this to use AttributeT<T> for any supported T.
#include "attributes/AttributeAsset.hpp"
#include "attributes/AttributeBool.hpp"
#include "attributes/AttributeColor.hpp"
#include "attributes/AttributeEnum.hpp"
#include "attributes/AttributeNumericT.hpp"
#include "attributes/AttributeString.hpp"
#include "attributes/AttributeTimeStamp.hpp"
#include "attributes/AttributeTuple.hpp"
#include "attributes/AttributeVector2.hpp"
