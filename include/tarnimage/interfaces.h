#ifndef TARNIMAGE_INTERFACES_H
#define TARNIMAGE_INTERFACES_H

#include <tarnimage/export.h>
#include <tarnimage/refcnt.h>
#include <tarnimage/tarn_string.h>
#include <tarnimage/variant.h>

class IInternalRStream;
class IInternalRStreamCollection;
class ITarnRasterColorMap;

/* A stream of pixel blocks: the RGBA stream of an image, or one raw band. */
class IInternalRStream : public ITarnRefCnt {
public:
    virtual long getFetchModes() = 0;
    virtual long reset() = 0;
    virtual long setFetchMode(long mode) = 0;
    virtual long getPixelDepth() = 0;
    virtual void getBlockSize(long* width, long* height) = 0;
    virtual DirectMemoryHolder* getData(long* x, long* y, long* width, long* height) = 0;
    virtual long hasMore() = 0;
};

/* One raster file as the host sees it. */
class IInternalImage : public ITarnRefCnt {
public:
    virtual IInternalImage* clone() const = 0;
    virtual long getType() = 0;
    virtual long getWidth() = 0;
    virtual long getHeight() = 0;
    virtual long getPixelDepth(long band) = 0;
    virtual long getBandCount() = 0;
    virtual const CTarnUString& getName() = 0;
    virtual const CTarnUString& getBandName(long band) = 0;
    virtual bool isGeoReferenced() = 0;
    virtual const CTarnUString& getProjectionParameters() = 0;
    virtual void getGeoReference(double* a, double* b, double* c,
                                 double* d, double* e, double* f) = 0;
    virtual long hasStatistic() = 0;
    virtual long getStatistic(long which) = 0;
    virtual void setClipRect(long x, long y, long width, long height) = 0;
    virtual void getResultRect(long* x, long* y, long* width, long* height) = 0;
    virtual long canBeScaled() = 0;
    virtual void setScale(double scale) = 0;
    virtual double getScale() = 0;
    virtual IInternalRStream* getRGBStream() = 0;
    virtual IInternalRStreamCollection* getStreams(int* bands, int count) = 0;
    virtual ITarnRasterColorMap* getColorMap() = 0;
    virtual void Open(const CTarnUString& path) = 0;
    virtual void Close() = 0;
    virtual long internalAddRef() = 0;
    virtual long internalRelease() = 0;
    virtual long getFetchModes() = 0;
    virtual long reset() = 0;
    virtual long setFetchMode(long mode) = 0;
    virtual long getPixelDepth() = 0;
    virtual void getBlockSize(long* width, long* height) = 0;
    virtual DirectMemoryHolder* getData(long* x, long* y, long* width, long* height) = 0;
    virtual long hasMore() = 0;
};

/* The band streams of one image over one clip rectangle. */
class IInternalRStreamCollection : public ITarnRefCnt {
public:
    virtual long getCount() = 0;
    virtual IInternalRStream* get(long index) = 0;
    virtual long getBandNumber(long index) = 0;
};

/* A sparse colour map from pixel values (exact values or ranges) to RGBA. */
class ITarnRasterColorMap : public ITarnRefCnt {
public:
    virtual long getLookupCount() = 0;
    virtual long getLookup(long index, double& low, double& high,
                           unsigned char& red, unsigned char& green, unsigned char& blue,
                           unsigned char& alpha, int& kind, CTarnUString& label) = 0;
    virtual void getOther(unsigned char& red, unsigned char& green, unsigned char& blue,
                          unsigned char& alpha, CTarnUString& label) = 0;
    virtual long canChange() = 0;
    virtual void clear() = 0;
    virtual long addExact(double value, unsigned char red, unsigned char green,
                          unsigned char blue, unsigned char alpha, CTarnUString& label) = 0;
    virtual long addRange(double low, double high, unsigned char red, unsigned char green,
                          unsigned char blue, unsigned char alpha, int kind,
                          CTarnUString& label) = 0;
    virtual long setOther(unsigned char red, unsigned char green, unsigned char blue,
                          unsigned char alpha, CTarnUString& label) = 0;
};

/* The manager: connect it to a directory (and perhaps one file in it), then
 * ask it for the images it admitted. */
class IInternalImageManager : public ITarnRefCnt {
public:
    virtual bool connect(const CTarnUString& connectString, const CTarnUString& optionsString) = 0;
    virtual long disconnect() = 0;
    virtual long getImageCount() = 0;
    virtual const CTarnUString& getImageName(long index) = 0;
    virtual IInternalImage* getImage(long index) = 0;
    virtual IInternalImage* findImage(const CTarnUString& name) = 0;
    virtual const CTarnUString& getConnectString() = 0;
    virtual const CTarnUString& getOptionsString() = 0;
};

extern "C" TARN_EXPORT IInternalImageManager* getManager();

#endif
