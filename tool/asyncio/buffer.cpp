#include "tool/asyncio/buffer.h"

#include "tool/memory/heap.h"

#include <stdexcept>

namespace tpl {

buffer::buffer(std::size_t size)
    : heap_(memory::heap::process_heap())
    , begin_(static_cast<char*>(heap_->allocate(size)))
    , end_(begin_ + size)
    , limit_(end_)
{}

buffer::~buffer()
{
    heap_->release(begin_);
}

char& buffer::operator[](std::size_t index)
{
    if (index >= size()) {
        throw std::out_of_range("buffer::operator[] failed: out of bound");
    }
    return begin_[index];
}

const char& buffer::operator[](std::size_t index) const
{
    return const_cast<buffer&>(*this)[index];
}

} // namespace tpl
