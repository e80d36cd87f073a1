// The properties of a device as values: one table says which there are, on which side of the device they live, and
// what they are for a given description. HardwareModel reads, sizes and compares through it. Thread: main.
#pragma once

#include "hardware/HardwareModel.h"

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace vurl {

/// The channels in each buffer of one side.
struct BufferShape {
  std::vector<uint32_t> channels;
  bool operator==(const BufferShape&) const = default;
};

/// A property's value; std::monostate when the property does not exist. Sources stand for the name of each.
using PropertyValue =
    std::variant<std::monostate, uint32_t, double, AudioValueRange, std::string, std::vector<uint32_t>,
                 std::vector<AudioValueRange>, BufferShape, std::vector<SourceDescription>>;

/// The bytes that the value has as property data.
uint32_t propertySize(const PropertyValue& value);

/// Writes the value as property data, as AudioHardware::AudioObjectGetPropertyData() describes.
OSStatus readProperty(const PropertyValue& value, uint32_t& size, void* data);

/// The value of a device's property; std::monostate when it has none at this address.
PropertyValue deviceProperty(const HardwareModel::Device& device, const AudioObjectPropertyAddress& address);

/// The addresses whose values differ. A property of one side is listed for the whole device as well, because its
/// listeners may listen there.
std::vector<AudioObjectPropertyAddress> changedProperties(const HardwareModel::Device& before,
                                                          const HardwareModel::Device& after);

} // namespace vurl
