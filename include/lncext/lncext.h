/* lncext: every public header at once. */
#ifndef LNCEXT_LNCEXT_H
#define LNCEXT_LNCEXT_H

#include "lncext/bignum.h"
#include "lncext/dstu4145.h"
#include "lncext/gost28147.h"
#include "lncext/gostr341001.h"
#include "lncext/gostr341194.h"
#include "lncext/kuznyechik.h"
#include "lncext/rsa.h"
#include "lncext/streebog.h"

#endif
