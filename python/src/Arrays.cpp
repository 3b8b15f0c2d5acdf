#include "python/src/Arrays.h"

#include <array>
#include <span>

namespace kor::python {

namespace {

constexpr std::array<Field, 14> kRawFields = {{
    {"reserved0", "<i4", offsetof(KOR_RAWINFO, reserved0)},
    {"status", "<i4", offsetof(KOR_RAWINFO, status)},
    {"sensorVector", "(3,)<f4", offsetof(KOR_RAWINFO, sensorVector)},
    {"azimuthRaw", "<f4", offsetof(KOR_RAWINFO, azimuthRaw)},
    {"elevationRaw", "<f4", offsetof(KOR_RAWINFO, elevationRaw)},
    {"levelXRaw", "<f4", offsetof(KOR_RAWINFO, levelXRaw)},
    {"levelYRaw", "<f4", offsetof(KOR_RAWINFO, levelYRaw)},
    {"levelTemperature", "<f4", offsetof(KOR_RAWINFO, levelTemperature)},
    {"referenceGate", "<f4", offsetof(KOR_RAWINFO, referenceGate)},
    {"reserved44", "<i4", offsetof(KOR_RAWINFO, reserved44)},
    {"referenceHold", "u1", offsetof(KOR_RAWINFO, referenceHold)},
    {"reserved49", "(3,)u1", offsetof(KOR_RAWINFO, reserved49)},
    {"temperatureCount", "(3,)<i4", offsetof(KOR_RAWINFO, temperatureCount)},
    {"timeStampMs", "<u4", offsetof(KOR_RAWINFO, timeStampMs)},
}};

constexpr std::array<Field, 9> kInfoFields = {{
    {"reserved0", "<i4", offsetof(KOR_INFO, reserved0)},
    {"azimuth", "<f4", offsetof(KOR_INFO, azimuth)},
    {"elevation", "<f4", offsetof(KOR_INFO, elevation)},
    {"levelX", "<f4", offsetof(KOR_INFO, levelX)},
    {"levelY", "<f4", offsetof(KOR_INFO, levelY)},
    {"orientationAngles", "(3,)<f4", offsetof(KOR_INFO, orientationAngles)},
    {"reserved32", "<i4", offsetof(KOR_INFO, reserved32)},
    {"sensorOut", "(3,)<f4", offsetof(KOR_INFO, sensorOut)},
    {"temperature", "(3,)<f4", offsetof(KOR_INFO, temperature)},
}};

py::dtype typeOf(std::span<const Field> fields, std::size_t size)
{
    py::list names;
    py::list formats;
    py::list offsets;
    for (const Field& field : fields) {
        names.append(field.name);
        formats.append(field.format);
        offsets.append(field.offset);
    }
    return {names, formats, offsets, static_cast<py::ssize_t>(size)};
}

std::string wordsOf(const py::object& object)
{
    return object.attr("__str__")().cast<std::string>();
}

// The array, if its elements lie one behind the other.
py::array checked(const py::object& given, const py::dtype& type, const std::string& name, const std::string& typeName)
{
    if (!py::isinstance<py::array>(given)) {
        throw py::type_error(name + ": found an object of type " + wordsOf(py::type::of(given).attr("__name__")) +
                             ", expected a NumPy array of dtype " + typeName);
    }
    auto array = py::reinterpret_borrow<py::array>(given);
    if (!array.dtype().equal(type)) {
        throw py::type_error(name + ": found an array of dtype " + wordsOf(array.dtype()) + ", expected dtype " +
                             typeName + "; array.astype(" + typeName + ") makes a copy of it");
    }
    if ((array.flags() & py::array::c_style) == 0) {
        throw py::value_error(name + ": found an array whose elements do not lie one behind the other in memory; "
                                     "numpy.ascontiguousarray(array) makes a copy where they do");
    }
    return array;
}

} // namespace

py::dtype rawType()
{
    return typeOf(kRawFields, sizeof(KOR_RAWINFO));
}

py::dtype infoType()
{
    return typeOf(kInfoFields, sizeof(KOR_INFO));
}

Elements elementsOf(const py::object& array, const py::dtype& type, const std::string& name,
                    const std::string& typeName)
{
    const py::array found = checked(array, type, name, typeName);
    if (found.ndim() != 1) {
        throw py::value_error(name + ": found an array of " + std::to_string(found.ndim()) +
                              " dimensions, expected one dimension; array.reshape(-1) gives it");
    }
    return {static_cast<const char*>(found.data()), static_cast<std::size_t>(found.size())};
}

Elements numbersOf(const py::object& array, const py::dtype& type, std::size_t count,
                   std::initializer_list<std::size_t> each, const std::string& name)
{
    const std::string typeName = wordsOf(type);
    const py::array found = checked(array, type, name, typeName);
    std::vector<std::size_t> shape = {count};
    shape.insert(shape.end(), each);
    bool fits = static_cast<std::size_t>(found.ndim()) == shape.size();
    std::string expected;
    for (std::size_t i = 0; i < shape.size(); ++i) {
        fits = fits && static_cast<std::size_t>(found.shape(static_cast<py::ssize_t>(i))) == shape[i];
        expected += (i == 0 ? "" : " x ") + std::to_string(shape[i]);
    }
    if (!fits) {
        throw py::value_error(name + ": found an array of another shape, expected " + expected +
                              ": one element for each sample");
    }
    return {static_cast<const char*>(found.data()), count};
}

} // namespace kor::python
