// NumPy arrays of the library's records and numbers.
#pragma once

#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <pybind11/numpy.h>

#include "KORInterface/Records.h"

namespace kor::python {

namespace py = pybind11;

/// A field of a record: its name, what it holds as NumPy writes it, and where it lies.
struct Field {
    const char* name;
    const char* format;
    std::size_t offset;
};

/// The structured types whose records are, byte for byte, those of the library.
py::dtype rawType();  ///< KOR_RAWINFO, 68 bytes
py::dtype infoType(); ///< KOR_INFO, 60 bytes

/// The records of an array, one dimension, without a copy. Throws TypeError or ValueError with what to do when it is no
/// array, or not of this type, or its elements do not lie one behind the other.
struct Elements {
    const char* bytes;
    std::size_t count;
};
Elements elementsOf(const py::object& array, const py::dtype& type, const std::string& name,
                    const std::string& typeName);

/// The same for an array of so many numbers in each of its `count` elements: (count, ...).
Elements numbersOf(const py::object& array, const py::dtype& type, std::size_t count,
                   std::initializer_list<std::size_t> each, const std::string& name);

/// An array whose elements are not set yet.
template <typename Number>
py::array_t<Number> numbers(std::vector<std::size_t> shape)
{
    std::vector<py::ssize_t> sizes(shape.begin(), shape.end());
    return py::array_t<Number>(sizes);
}

/// The elements of a vector as an array that has taken it over.
template <typename Element>
py::array arrayOf(std::vector<Element>&& elements, const py::dtype& type)
{
    auto kept = std::make_unique<std::vector<Element>>(std::move(elements));
    const auto count = static_cast<py::ssize_t>(kept->size());
    const Element* const data = kept->data();
    const py::capsule owner(kept.get(), [](void* vector) { delete static_cast<std::vector<Element>*>(vector); });
    static_cast<void>(kept.release());
    return {type, {count}, {static_cast<py::ssize_t>(sizeof(Element))}, data, owner};
}

/// A few numbers as an array of their own.
template <typename Number>
py::array_t<Number> copyOf(const Number* values, std::vector<std::size_t> shape)
{
    py::array_t<Number> array = numbers<Number>(std::move(shape));
    if (array.size() > 0) {
        std::memcpy(array.mutable_data(), values, static_cast<std::size_t>(array.nbytes()));
    }
    return array;
}

/// Numbers of any sequence, of this shape and no other.
template <typename Number>
std::vector<Number> valuesOf(const py::object& given, const std::vector<std::size_t>& shape, const std::string& name)
{
    const auto array = py::array_t<Number, py::array::c_style | py::array::forcecast>::ensure(given);
    if (!array) {
        throw py::type_error(name + ": found something that NumPy makes no numbers of, expected numbers");
    }
    bool fits = static_cast<std::size_t>(array.ndim()) == shape.size();
    for (std::size_t i = 0; fits && i < shape.size(); ++i) {
        fits = static_cast<std::size_t>(array.shape(static_cast<py::ssize_t>(i))) == shape[i];
    }
    if (!fits) {
        std::string expected;
        for (const std::size_t size : shape) {
            expected += (expected.empty() ? "" : " x ") + std::to_string(size);
        }
        throw py::value_error(name + ": found an array of another shape, expected " + expected + " numbers");
    }
    return {array.data(), array.data() + array.size()};
}

} // namespace kor::python
