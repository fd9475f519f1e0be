#include "objects/manager_impl.h"

#include <mutex>
#include <new>
#include <stdlib.h>

#include "objects/image_impl.h"
#include "platform/blocks.h"
#include "platform/dir_browser.h"
#include "udf/udf.h"

// Guards the count of live managers and the drivers' start and stop.
std::mutex CIntegratorManagerImpl::m_InitMutex;
int32_t CIntegratorManagerImpl::m_managers = 0;

CIntegratorManagerImpl::CIntegratorManagerImpl() {
    std::lock_guard<std::mutex> guard(m_InitMutex);
    if (m_managers == 0) UDF_LibInit();
    ++m_managers;
}

CIntegratorManagerImpl::~CIntegratorManagerImpl() {
    clearCollection();
    std::lock_guard<std::mutex> guard(m_InitMutex);
    if (--m_managers == 0) {
        UDF_LibExit();
        tarn_block_trim();
    }
}

int32_t CIntegratorManagerImpl::liveManagers() {
    std::lock_guard<std::mutex> guard(m_InitMutex);
    return m_managers;
}

long CIntegratorManagerImpl::addRef() { return ++m_refCount; }

long CIntegratorManagerImpl::release() {
    long count = --m_refCount;
    if (count == 0) delete this;
    return count;
}

void CIntegratorManagerImpl::admit(const CTarnUString& path) {
    CIImageImpl* image = nullptr;
    try {
        image = new CIImageImpl(path);
        if (!image->isValid() || checkImage(image->getName()) != -1) {
            image->release();
            return;
        }
    } catch (...) {
        // A bad file never ends the walk.
        if (image) image->release();
        return;
    }
    // A failed growth drops this image rather than the list.
    void* grown = realloc(m_images, sizeof(CIImageImpl*) * static_cast<size_t>(m_imageCount + 1));
    if (!grown) {
        image->release();
        return;
    }
    m_images = static_cast<CIImageImpl**>(grown);
    m_images[m_imageCount++] = image;
}

bool CIntegratorManagerImpl::connect(const CTarnUString& connectString,
                                     const CTarnUString& optionsString) {
    // Out of memory while building a path ends the walk; nothing reaches the host.
    try {
        m_connectString = connectString;
        m_optionsString = optionsString;
        if (!optionsString.isEmpty()) {
            CTarnUString path(connectString);
            path.addFile(optionsString);
            admit(path);
        } else {
            CTarnUString directory(connectString);
            TarnDirBrowser browser(directory);
            for (int more = browser.findFirst(); more; more = browser.findNext()) {
                CTarnUString path(connectString);
                path.addFile(browser.getName());
                admit(path);
            }
        }
    } catch (...) {
    }
    return m_imageCount > 0;
}

long CIntegratorManagerImpl::disconnect() {
    clearCollection();
    return 1;
}

const CTarnUString& CIntegratorManagerImpl::getImageName(long index) {
    if (index < 0 || index >= m_imageCount) {
        // Out of range: a fresh empty string that the caller owns and deletes.
        return *new CTarnUString();
    }
    return m_images[index]->getName();
}

IInternalImage* CIntegratorManagerImpl::getImage(long index) {
    if (index < 0 || index >= m_imageCount) return nullptr;
    m_images[index]->addRef();
    return m_images[index];
}

long CIntegratorManagerImpl::checkImage(const CTarnUString& name) {
    for (int32_t i = 0; i < m_imageCount; ++i)
        if (m_images[i]->getName().isEqualTo(name)) return i;
    return -1;
}

IInternalImage* CIntegratorManagerImpl::findImage(const CTarnUString& name) {
    long index = checkImage(name);
    return index < 0 ? nullptr : getImage(index);
}

void CIntegratorManagerImpl::clearCollection() {
    for (int32_t i = 0; i < m_imageCount; ++i) m_images[i]->release();
    free(m_images);
    m_images = nullptr;
    m_imageCount = 0;
}

extern "C" TARN_EXPORT IInternalImageManager* getManager() {
    try {
        return new CIntegratorManagerImpl();
    } catch (...) {
        return nullptr;
    }
}
