#ifndef TARNIMAGE_REFCNT_H
#define TARNIMAGE_REFCNT_H

/* Base of every object handed to a host. release() at zero destroys it. The
 * counts are atomic, so references may be taken and dropped on any thread. */
class ITarnRefCnt {
public:
    virtual ~ITarnRefCnt() {}
    virtual long addRef() = 0;
    virtual long release() = 0;
};

#endif
