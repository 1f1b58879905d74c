#pragma once

#include <cstddef>
#include <string>

#include <EMULSION/Image.h>
#include <UTIL/Rect.h>

#include "QUILT/Export.h"
#include "QUILT/RefPtr.h"

namespace QUILT
{

/// A handle on the pixels of one rectangle, shared by all copies of the handle.
///
/// Pixels get memory at the first lock(). While nobody has them locked they may leave memory for a
/// swap file at any moment, and come back with the next lock(), so a pointer to them holds until
/// unlock() and no longer. When the last handle goes, pixels go too, or into the cache of finished
/// tiles.
///
/// Handles to the same pixels may be copied, dropped, locked and unlocked by any threads at once;
/// one handle object is for one thread at a time. The pixels themselves are not guarded: whoever
/// writes them is alone with them.
class QUILT_API ImageBuffer
{
public:
    class Impl;

    /// A null buffer.
    ImageBuffer() = default;

    /// A new image without memory yet. `bounds` may hold no pixel: such an image takes part in
    /// everything and never has memory.
    ///
    /// \param channels         sum of 1 red, 2 green, 4 blue, 8 alpha
    /// \param comment          for reports. One that holds "FILEIN." marks pixels from an image
    /// file,
    ///                         which are counted by themselves, too
    /// \param originalChannels a second mask, kept and handed back
    ///
    /// Throws what a pending EMULSION error or a cancelled render asks for, UTIL::AssertException
    /// for a mask that no image may have, and std::bad_alloc beyond 2^46 bytes.
    ImageBuffer(unsigned long channels, const UTIL::Rect& bounds, const std::string& comment,
                unsigned long originalChannels);

    /// One more handle on these pixels; null for a null pointer.
    explicit ImageBuffer(const ref_ptr<Impl>& impl);

    ImageBuffer(const ImageBuffer& other);
    ImageBuffer(ImageBuffer&& other) noexcept;
    ImageBuffer& operator=(const ImageBuffer& other);
    ImageBuffer& operator=(ImageBuffer&& other) noexcept;
    ~ImageBuffer();

    void setNull();
    bool isNull() const { return m_impl == nullptr; }

    // None of these may be called on a null buffer.

    /// Keeps the pixels in memory until unlock(); locks add up. The first one makes room when
    /// memory is short, which may write other images to swap files, and reads this one back.
    ///
    /// New pixels are not cleared. Pixels that cannot be read back leave an EMULSION error on the
    /// calling thread, at this and every later lock(), and are not to be used. Throws
    /// std::bad_alloc when there is no memory, std::runtime_error when a swap file cannot be
    /// written and UTIL::OutOfMemoryException when the budget is a hard limit.
    void lock();

    /// Throws UTIL::AssertException when nothing is locked.
    void unlock();

    /// The pixels, while locked; otherwise an assertion fails. Valid without a lock for an image
    /// without pixels.
    EMULSION::Image* getImage() const;

    void setComment(const std::string& comment); ///< for the only owner of a new image
    unsigned long getChannels() const;
    unsigned long getOriginalChannels() const;
    UTIL::Rect getBounds() const;

    // These may.

    std::string getComment() const; ///< "unallocated image buffer" on a null buffer
    std::size_t getSize() const;    ///< bytes, rows rounded up to 16; 0 on a null buffer

    /// The shared part, for the engine.
    Impl* getImpl() const { return m_impl; }

private:
    Impl* m_impl = nullptr;
};

}
