// Control interface of the metadata-helper doubles. Three libraries are built from one source:
//   libmetahelper_double.so       "GetInstance" returns a working factory
//   libmetahelper_nullfactory.so  "GetInstance" returns null
//   libmetahelper_nosymbol.so     no "GetInstance" symbol at all
// The working double answers queryLuxInfo with the float of the vendor tag
// "orvane.stats.luxIndex" of the request (0.0 when absent) at byte 96 of the record, and returns
// the configured status (0 by default; a non-zero status leaves the record untouched).
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

void metahelperDouble_setStatus(int status);
void metahelperDouble_reset(void);
int metahelperDouble_getInstanceCalls(void);
int metahelperDouble_prepareCalls(void);
int metahelperDouble_createCalls(void);
int metahelperDouble_queryCalls(void);

#ifdef __cplusplus
}
#endif
