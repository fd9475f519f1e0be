#ifndef TARN_OBJECTS_MANAGER_IMPL_H
#define TARN_OBJECTS_MANAGER_IMPL_H

#include <atomic>
#include <mutex>
#include <stdint.h>

#include <tarnimage/interfaces.h>

class CIImageImpl;

/* Turns the files of a directory into images, keeps them in the order the
 * directory browser gives, and starts and stops the drivers once per process. */
class CIntegratorManagerImpl : public IInternalImageManager {
public:
    CIntegratorManagerImpl();
    ~CIntegratorManagerImpl() override;
    CIntegratorManagerImpl(const CIntegratorManagerImpl&) = delete;
    CIntegratorManagerImpl& operator=(const CIntegratorManagerImpl&) = delete;

    long addRef() override;
    long release() override;
    bool connect(const CTarnUString& connectString, const CTarnUString& optionsString) override;
    long disconnect() override;
    long getImageCount() override { return m_imageCount; }
    const CTarnUString& getImageName(long index) override;
    IInternalImage* getImage(long index) override;
    IInternalImage* findImage(const CTarnUString& name) override;
    const CTarnUString& getConnectString() override { return m_connectString; }
    const CTarnUString& getOptionsString() override { return m_optionsString; }

    long checkImage(const CTarnUString& name);
    void clearCollection();

    static int32_t liveManagers();

private:
    void admit(const CTarnUString& path);

    static std::mutex m_InitMutex;
    static int32_t m_managers;
    std::atomic<int32_t> m_refCount{1};
    CIImageImpl** m_images = nullptr;
    int32_t m_imageCount = 0;
    CTarnUString m_connectString;
    CTarnUString m_optionsString;
};

#endif
