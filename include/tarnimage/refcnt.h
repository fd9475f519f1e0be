#ifndef TARNIMAGE_REFCNT_H
#define TARNIMAGE_REFCNT_H

/* Base of every object handed to a host. release() at zero destroys it. */
class ITarnRefCnt {
public:
    virtual ~ITarnRefCnt() {}
    virtual long addRef() = 0;
    virtual long release() = 0;
};

#endif
