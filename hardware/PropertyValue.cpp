#include "hardware/PropertyValue.h"

#include <algorithm>
#include <cstring>

namespace vurl {
namespace {

using Device = HardwareModel::Device;

constexpr uint32_t kGlobal = kAudioObjectPropertyScopeGlobal;
constexpr uint32_t kInput = kAudioDevicePropertyScopeInput;
constexpr uint32_t kOutput = kAudioDevicePropertyScopeOutput;

const std::vector<StreamDescription>& streams(const Device& device, uint32_t scope) {
  return scope == kInput ? device.description.inputs : device.description.outputs;
}

PropertyValue streamIDs(const Device& device, uint32_t scope) {
  return scope == kInput ? device.input_ids : device.output_ids;
}

PropertyValue shape(const Device& device, uint32_t scope) {
  BufferShape result;
  for (const auto& stream : streams(device, scope)) result.channels.push_back(stream.nr_channels);
  return result;
}

PropertyValue rates(const Device& device, uint32_t) {
  std::vector<AudioValueRange> ranges;
  for (const double rate : device.description.nominal_sample_rates) ranges.push_back({rate, rate});
  return ranges;
}

PropertyValue ifAny(const std::vector<SourceDescription>& sources, PropertyValue value) {
  return sources.empty() ? PropertyValue() : std::move(value);
}

PropertyValue sourceIDs(const std::vector<SourceDescription>& sources) {
  std::vector<uint32_t> ids(sources.size());
  std::ranges::transform(sources, ids.begin(), &SourceDescription::id);
  return ifAny(sources, ids);
}

struct Property {
  uint32_t selector;
  std::vector<uint32_t> scopes; ///< where it lives
  PropertyValue (*value)(const Device& device, uint32_t scope);
};

const std::vector<Property>& properties() {
  static const std::vector<Property> table = {
      {kAudioObjectPropertyName, {kGlobal}, [](auto& d, auto) { return PropertyValue(d.description.name); }},
      {kAudioObjectPropertyManufacturer,
       {kGlobal},
       [](auto& d, auto) { return PropertyValue(d.description.manufacturer); }},
      {kAudioDevicePropertyStreams, {kInput, kOutput}, streamIDs},
      {kAudioDevicePropertyStreamConfiguration, {kInput, kOutput}, shape},
      {kAudioDevicePropertyAvailableNominalSampleRates, {kGlobal}, rates},
      {kAudioDevicePropertyNominalSampleRate,
       {kGlobal},
       [](auto& d, auto) { return PropertyValue(d.description.nominal_sample_rate); }},
      {kAudioDevicePropertyDataSources, {kInput}, [](auto& d, auto) { return sourceIDs(d.description.data_sources); }},
      {kAudioDevicePropertyDataSource,
       {kInput},
       [](auto& d, auto) { return ifAny(d.description.data_sources, d.description.data_source); }},
      {kAudioDevicePropertyDataSourceNameForIDCFString,
       {kInput},
       [](auto& d, auto) { return ifAny(d.description.data_sources, d.description.data_sources); }},
      {kAudioDevicePropertyClockSources,
       {kInput},
       [](auto& d, auto) { return sourceIDs(d.description.clock_sources); }},
      {kAudioDevicePropertyClockSource,
       {kInput},
       [](auto& d, auto) { return ifAny(d.description.clock_sources, d.description.clock_source); }},
      {kAudioDevicePropertyClockSourceNameForIDCFString,
       {kInput},
       [](auto& d, auto) { return ifAny(d.description.clock_sources, d.description.clock_sources); }},
      {kAudioDevicePropertyBufferFrameSizeRange,
       {kGlobal},
       [](auto& d, auto) { return PropertyValue(d.description.buffer_frame_size_range); }},
      {kAudioDevicePropertyBufferFrameSize,
       {kGlobal},
       [](auto& d, auto) { return PropertyValue(d.description.buffer_frame_size); }},
  };
  return table;
}

template <typename... Cases>
struct Visitor : Cases... {
  using Cases::operator()...;
};
template <typename... Cases>
Visitor(Cases...) -> Visitor<Cases...>;

template <typename Value>
OSStatus copyOut(const Value& value, uint32_t& size, void* data) {
  if (size < sizeof value) return kAudioHardwareBadPropertySizeError;
  size = sizeof value;
  *static_cast<Value*>(data) = value;
  return kAudioHardwareNoError;
}

template <typename Value>
OSStatus copyOut(const std::vector<Value>& values, uint32_t& size, void* data) {
  const size_t count = std::min(values.size(), size / sizeof(Value));
  if (count > 0) std::memcpy(data, values.data(), count * sizeof(Value));
  size = static_cast<uint32_t>(count * sizeof(Value));
  return kAudioHardwareNoError;
}

OSStatus copyShape(const BufferShape& shape, uint32_t& size, void* data) {
  const auto needed = propertySize(shape);
  if (size < needed) return kAudioHardwareBadPropertySizeError;
  size = needed;
  auto* list = static_cast<AudioBufferList*>(data);
  auto* buffers = reinterpret_cast<AudioBuffer*>(list + 1);
  *list = {static_cast<uint32_t>(shape.channels.size()), buffers};
  for (const uint32_t nr_channels : shape.channels) *buffers++ = {nr_channels, 0, nullptr};
  return kAudioHardwareNoError;
}

OSStatus translate(const std::vector<SourceDescription>& sources, uint32_t& size, void* data) {
  if (size != sizeof(AudioValueTranslation)) return kAudioHardwareBadPropertySizeError;
  const auto& translation = *static_cast<AudioValueTranslation*>(data);
  if (translation.mInputDataSize != sizeof(uint32_t) || translation.mOutputDataSize != sizeof(std::string))
    return kAudioHardwareBadPropertySizeError;
  const auto id = *static_cast<const uint32_t*>(translation.mInputData);
  const auto source = std::ranges::find(sources, id, &SourceDescription::id);
  if (source == sources.end()) return kAudioHardwareIllegalOperationError;
  *static_cast<std::string*>(translation.mOutputData) = source->name;
  return kAudioHardwareNoError;
}

} // namespace

uint32_t propertySize(const PropertyValue& value) {
  const auto size = std::visit(
      Visitor{[](std::monostate) { return size_t{0}; },
              [](const BufferShape& s) { return sizeof(AudioBufferList) + s.channels.size() * sizeof(AudioBuffer); },
              [](const std::vector<SourceDescription>&) { return sizeof(AudioValueTranslation); },
              []<typename Item>(const std::vector<Item>& items) { return items.size() * sizeof(Item); },
              [](const auto& single) { return sizeof single; }},
      value);
  return static_cast<uint32_t>(size);
}

OSStatus readProperty(const PropertyValue& value, uint32_t& size, void* data) {
  return std::visit(
      Visitor{[](std::monostate) -> OSStatus { return kAudioHardwareUnknownPropertyError; },
              [&](const BufferShape& shape) { return copyShape(shape, size, data); },
              [&](const std::vector<SourceDescription>& sources) { return translate(sources, size, data); },
              [&](const auto& other) { return copyOut(other, size, data); }},
      value);
}

PropertyValue deviceProperty(const Device& device, const AudioObjectPropertyAddress& address) {
  if (address.mElement != kAudioObjectPropertyElementMaster) return {};
  const auto property = std::ranges::find(properties(), address.mSelector, &Property::selector);
  if (property == properties().end() || !std::ranges::count(property->scopes, address.mScope)) return {};
  return property->value(device, address.mScope);
}

std::vector<AudioObjectPropertyAddress> changedProperties(const Device& before, const Device& after) {
  std::vector<AudioObjectPropertyAddress> changed;
  for (const auto& property : properties()) {
    const auto nr_changed = changed.size();
    for (const uint32_t scope : property.scopes)
      if (property.value(before, scope) != property.value(after, scope)) changed.push_back({property.selector, scope});
    const bool also_on_the_device = changed.size() > nr_changed && changed.back().mScope != kGlobal;
    if (also_on_the_device) changed.push_back({property.selector, kGlobal});
  }
  return changed;
}

} // namespace vurl
