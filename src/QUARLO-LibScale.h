/**
 * @file
 * Interface of the scaling plug-in, the shared library libQUARLO-Scale00.so.
 *
 * It enlarges rectangles that the phone rendered at reduced size. quarlo_Init opens it by bare file
 * name through the dynamic loader's ordinary search path and calls initialise once; scale is called
 * from the receiver threads of several instances at once and must be reentrant.
 */
#ifndef QUARLO_LIBSCALE_H
#define QUARLO_LIBSCALE_H

#include "QUARLO-LibDecompress.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Filled by both sides of "quarloScale_initialise". */
typedef struct scaleInitParamsStruct {
    UInt16 versionMajor;       /**< out: version of the plug-in */
    UInt16 versionMinor;       /**< out: its second number */
    UInt16 versionBuild;       /**< out: its third */
    hostMalloc mallocFunction; /**< in: allocator to use, also after initialise has returned */
    hostFree freeFunction;     /**< in: release for it */
} scaleInitParameter;

/**
 * One picture to enlarge; all fields are filled by the caller, which has checked that the source is
 * not larger than the destination and that both pictures lie within their buffers.
 */
typedef struct scaleParamsStruct {
    UInt16 sourceWidth;             /**< pixels */
    UInt16 sourceHeight;            /**< pixels */
    UInt32 sourceBufferLength;      /**< bytes */
    UInt8* sourceBuffer;            /**< rows of sourceWidth x imageBpp bytes, without padding */
    UInt16 destinationWidth;        /**< pixels */
    UInt16 destinationHeight;       /**< pixels */
    UInt32 destinationBufferLength; /**< bytes */
    UInt8* destinationBuffer;       /**< output: the whole destination picture, without padding */
    PixelFormat format;             /**< pixel format of both pictures */
    PixelEndianess endian;          /**< byte order of their pixels */
    UInt8 imageBpp;                 /**< bytes per pixel of both pictures */
} scaleParameter;

/** Result of scale. */
typedef enum _SCALE_ERROR_T {
    eSCALEERROR_NONE = 0,               /**< scaled */
    eSCALEERROR_NULL_PARAM = 1,         /**< a null argument */
    eSCALEERROR_NULL_PARAM_CONTENT = 2, /**< a null buffer */
    eSCALEERROR_MEM_ALLOC = 3,          /**< an allocation failed */
    eSCALEERROR_PARAM_VALUE = 4         /**< a size or format is not accepted */
} eSCALEERROR;

/**
 * "quarloScale_initialise". Called once by quarlo_Init, on its thread, before any scale.
 * @param parameter the in fields are filled, the out fields are the plug-in's to fill; valid during
 * the call
 * @return 0 for success; any other value makes the library close the plug-in and go on without it
 */
typedef Int32 (*scaleInitialiseFunction)(scaleInitParameter* parameter);
/**
 * "quarloScale_scale". Called on receiver threads, on several at once.
 * @param parameter the picture; it and its buffers are valid during the call
 * @param detailCode out: the plug-in's own number of a failure, for traces; 0 without one
 * @return an eSCALEERROR value
 */
typedef Int32 (*scaleFunction)(scaleParameter* parameter, Int32* detailCode);

#ifdef __cplusplus
}
#endif

#endif
