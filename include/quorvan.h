/* QUORVAN callable optimization library: the one public header.
   Valid C (C99 and later) and C++. Every function returns 0 or an error number
   unless its comment says otherwise. */
#ifndef QUORVAN_H
#define QUORVAN_H

#include <stdio.h>
#include <stddef.h>

#if defined(_WIN32)
#  define QVN_API __declspec(dllexport)
#elif defined(__GNUC__)
#  define QVN_API __attribute__((visibility("default")))
#else
#  define QVN_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Opaque handles. */
typedef struct Environment *QVNENVptr;
typedef const struct Environment *QVNCENVptr;
typedef struct Problem *QVNLPptr;
typedef const struct Problem *QVNCLPptr;
typedef struct Channel *QVNCHANNELptr;
typedef struct NetProblem *QVNNETptr;

#define QVN_VERSION_TEXT "10.2.0"
#define QVN_INFBOUND 1.0e+20
#define QVN_MIN 1
#define QVN_MAX (-1)

/* ---- Error numbers ---------------------------------------------------- */
#define QVNERR_NO_MEMORY             1001
#define QVNERR_NO_ENVIRONMENT        1002
#define QVNERR_BAD_ARGUMENT          1003
#define QVNERR_NULL_POINTER          1004
#define QVNERR_CALLBACK              1006
#define QVNERR_NO_PROBLEM            1009
#define QVNERR_LIMITS_TOO_BIG        1012
#define QVNERR_BAD_PARAM_NUM         1013
#define QVNERR_PARAM_TOO_SMALL       1014
#define QVNERR_PARAM_TOO_BIG         1015
#define QVNERR_NOT_FOR_MIP           1017
#define QVNERR_NOT_FOR_QP            1018
#define QVNERR_CHILD_OF_CHILD        1019
#define QVNERR_TOO_MANY_THREADS      1020
#define QVNERR_CANT_CLOSE_CHILD      1021
#define QVNERR_BAD_PROB_TYPE         1022
#define QVNERR_NOT_ONE_PROBLEM       1023
#define QVNERR_NOT_MILPCLASS         1024
#define QVNERR_STR_PARAM_TOO_LONG    1026
#define QVNERR_DECOMPRESSION         1027
#define QVNERR_BAD_PARAM_NAME        1028
#define QVNERR_NOT_MIQPCLASS         1029
#define QVNERR_NOT_MIQCPCLASS        1030
#define QVNERR_NOT_FOR_QCP           1031
#define QVNERR_NO_CHANNEL            1051
#define QVNERR_NO_FILENAME           1052
#define QVNERR_NO_FUNCTION           1053
#define QVNERR_BOUNDS_INFEAS         1100
#define QVNERR_PRESLV_INForUNBD      1101
#define QVNERR_PRESLV_NO_PROB        1103
#define QVNERR_PRESLV_ABORT          1106
#define QVNERR_PRESLV_INF            1117
#define QVNERR_PRESLV_UNBD           1118
#define QVNERR_PRESLV_DUAL           1119
#define QVNERR_INDEX_RANGE           1200
#define QVNERR_COL_INDEX_RANGE       1201
#define QVNERR_ROW_INDEX_RANGE       1203
#define QVNERR_INDEX_RANGE_LOW       1205
#define QVNERR_INDEX_RANGE_HIGH      1206
#define QVNERR_NEGATIVE_SURPLUS      1207
#define QVNERR_ARRAY_TOO_LONG        1208
#define QVNERR_NAME_CREATION         1209
#define QVNERR_NAME_NOT_FOUND        1210
#define QVNERR_NO_RHS_IN_OBJ         1211
#define QVNERR_BAD_SENSE             1215
#define QVNERR_NO_RNGVAL             1216
#define QVNERR_NO_SOLN               1217
#define QVNERR_NO_NAMES              1219
#define QVNERR_NOT_FIXED             1221
#define QVNERR_DUP_ENTRY             1222
#define QVNERR_NO_BARRIER_SOLN       1223
#define QVNERR_NULL_NAME             1224
#define QVNERR_NAN                   1225
#define QVNERR_ARRAY_NOT_ASCENDING   1226
#define QVNERR_COUNT_RANGE           1227
#define QVNERR_COUNT_OVERLAP         1228
#define QVNERR_BAD_LUB               1229
#define QVNERR_NODE_INDEX_RANGE      1230
#define QVNERR_ARC_INDEX_RANGE       1231
#define QVNERR_NO_DUAL_SOLN          1232
#define QVNERR_DBL_MAX               1233
#define QVNERR_NOT_BASIC             1251
#define QVNERR_NEED_OPT_SOLN         1252
#define QVNERR_BAD_STATUS            1253
#define QVNERR_NOT_UNBOUNDED         1254
#define QVNERR_SBASE_INCOMPAT        1255
#define QVNERR_SINGULAR              1256
#define QVNERR_PRIIND                1257
#define QVNERR_NO_LU_FACTOR          1258
#define QVNERR_NO_SENSIT             1260
#define QVNERR_NO_BASIC_SOLN         1261
#define QVNERR_NO_BASIS              1262
#define QVNERR_ABORT_STRONGBRANCH    1263
#define QVNERR_NO_NORMS              1264
#define QVNERR_NOT_DUAL_UNBOUNDED    1265
#define QVNERR_TILIM_STRONGBRANCH    1266
#define QVNERR_BAD_PIVOT             1267
#define QVNERR_TILIM_CONDITION_NO    1268
#define QVNERR_ABORT_CONDITION_NO    1269
#define QVNERR_BAD_METHOD            1292
#define QVNERR_NO_FILENAME_GIVEN     1421
#define QVNERR_FAIL_OPEN_WRITE       1422
#define QVNERR_FAIL_OPEN_READ        1423
#define QVNERR_BAD_FILETYPE          1424
#define QVNERR_XML_PARSE             1425
#define QVNERR_TOO_MANY_ROWS         1431
#define QVNERR_TOO_MANY_COLS         1432
#define QVNERR_TOO_MANY_COEFFS       1433
#define QVNERR_BAD_NUMBER            1434
#define QVNERR_BAD_EXPONENT          1435
#define QVNERR_NO_OBJ_SENSE          1436
#define QVNERR_BAD_QCON_SENSE        1437
#define QVNERR_BAD_LAZY_UCUT         1438
#define QVNERR_BAD_INDICATOR         1439
#define QVNERR_NO_NAME_SECTION       1441
#define QVNERR_UNKNOWN_SOS_TYPE      1442
#define QVNERR_COL_REPEATED_ROW      1443
#define QVNERR_ITEM_REPEATED_ROW     1444
#define QVNERR_ROW_REPEATS           1445
#define QVNERR_COL_REPEATS           1446
#define QVNERR_NAME_REPEATS          1447
#define QVNERR_NOT_ROW_NAME          1448
#define QVNERR_NOT_COL_NAME          1449
#define QVNERR_NO_ROW_SENSE          1453
#define QVNERR_FX_AFTER_BOUND        1454
#define QVNERR_FR_AFTER_BOUND        1455
#define QVNERR_BV_AFTER_BOUND        1456
#define QVNERR_BAD_BOUND_TYPE        1457
#define QVNERR_REPEATED_UPPER        1458
#define QVNERR_REPEATED_LOWER        1459
#define QVNERR_NO_BOUND_TYPE         1460
#define QVNERR_EXPECT_ENDATA         1462
#define QVNERR_INT_LIMIT             1463
#define QVNERR_NAME_TOO_LONG         1464
#define QVNERR_LINE_TOO_LONG         1465
#define QVNERR_NO_BASIC_VALUES       1550
#define QVNERR_BAD_BASIS_KEY         1551
#define QVNERR_WRONG_ENTRY_COUNT     1553
#define QVNERR_NO_SUPERBASICS        1554
#define QVNERR_BASIC_COUNT           1555
#define QVNERR_NO_VECTOR             1556
#define QVNERR_NO_ROWS_SECTION       1471
#define QVNERR_NO_COLUMNS_SECTION    1472
#define QVNERR_EXPECT_RANGES_TO_ENDATA 1473
#define QVNERR_RANGES_OUT_OF_ORDER   1474
#define QVNERR_EXPECT_QMATRIX_OR_ENDATA 1475
#define QVNERR_NO_OBJ_ROW            1476
#define QVNERR_ROW_REPEATS_HIDDEN    1477
#define QVNERR_COL_REPEATS_HIDDEN    1478
#define QVNERR_INTORG_IN_INTEGERS    1480
#define QVNERR_INTEND_OUTSIDE_INTEGERS 1481
#define QVNERR_SOSORG_IN_SOS         1482
#define QVNERR_SOSEND_OUTSIDE_SOS    1483
#define QVNERR_NO_ROW_NAME           1486
#define QVNERR_BAD_OBJ_SENSE_WORD    1487
#define QVNERR_ADJACENT_SIGNS        1602
#define QVNERR_RHS_SENSE_IN_OBJ      1603
#define QVNERR_ADJACENT_SIGN_SENSE   1604
#define QVNERR_QUAD_TERM_IN_ROW      1605
#define QVNERR_ADJACENT_SIGN_QUAD    1606
#define QVNERR_EXPECT_SIGN           1607
#define QVNERR_EXPECT_SIGN_OR_SENSE  1608
#define QVNERR_EXPECT_IDENT_FIRST    1609
#define QVNERR_EXPECT_RHS            1610
#define QVNERR_EXPECT_NUMBER_FIRST   1611
#define QVNERR_EXPECT_QUAD_EXPONENT  1612
#define QVNERR_QUAD_EXPONENT_NOT_2   1613
#define QVNERR_EXPECT_POWER_OR_TIMES 1614
#define QVNERR_EXPECT_NUMBER         1615
#define QVNERR_EXPECT_IDENT          1616
#define QVNERR_BAD_IDENT             1617
#define QVNERR_LOOSE_EXPONENT        1618
#define QVNERR_BAD_Q_DIVISOR         1619
#define QVNERR_NO_BOUND_SENSE        1621
#define QVNERR_NO_BOUND_NUMBER       1623
#define QVNERR_NOT_REPRESENTABLE     1650
#define QVNERR_PARAM_INCOMPATIBLE    1660
#define QVNERR_BAD_PARAM_FILE_HEADER 1661
#define QVNERR_NOT_MIP               3003
#define QVNERR_NEGATIVE_PRIORITY     3006
#define QVNERR_BAD_DIRECTION         3007
#define QVNERR_BAD_SOS_TYPE          3009
#define QVNERR_UNIQUE_WEIGHTS        3010
#define QVNERR_BAD_DIRECTION_KEY     3012
#define QVNERR_NO_SOS                3015
#define QVNERR_NO_ORDER              3016
#define QVNERR_NO_MIPSTART           3020
#define QVNERR_BAD_CTYPE             3021
#define QVNERR_NO_INT_X              3023
#define QVNERR_NO_SOS_TYPE           3301
#define QVNERR_NO_TREE               3412
#define QVNERR_Q_NOT_POS_DEF         5002
#define QVNERR_NOT_QP                5004
#define QVNERR_Q_NOT_SYMMETRIC       5012
#define QVNERR_Q_NOT_INDEF           5014

/* ---- Solution status numbers ------------------------------------------ */
#define QVN_STAT_OPTIMAL                 1
#define QVN_STAT_UNBOUNDED               2
#define QVN_STAT_INFEASIBLE              3
#define QVN_STAT_INForUNBD               4
#define QVN_STAT_OPTIMAL_INFEAS          5
#define QVN_STAT_NUM_BEST                6
#define QVN_STAT_ABORT_IT_LIM           10
#define QVN_STAT_ABORT_TIME_LIM         11
#define QVN_STAT_ABORT_OBJ_LIM          12
#define QVN_STAT_ABORT_USER             13
#define QVN_STAT_OPTIMAL_FACE_UNBOUNDED 20
#define QVN_STAT_ABORT_PRIM_OBJ_LIM     21
#define QVN_STAT_ABORT_DUAL_OBJ_LIM     22
#define QVN_STAT_CONFLICT_FEASIBLE      30
#define QVN_STAT_CONFLICT_MINIMAL       31
#define QVN_STAT_MIP_OPTIMAL           101
#define QVN_STAT_MIP_OPTIMAL_TOL       102
#define QVN_STAT_MIP_INFEASIBLE        103
#define QVN_STAT_MIP_SOL_LIM           104
#define QVN_STAT_MIP_NODE_LIM_FEAS     105
#define QVN_STAT_MIP_NODE_LIM_INFEAS   106
#define QVN_STAT_MIP_TIME_LIM_FEAS     107
#define QVN_STAT_MIP_TIME_LIM_INFEAS   108
#define QVN_STAT_MIP_FAIL_FEAS         109
#define QVN_STAT_MIP_FAIL_INFEAS       110
#define QVN_STAT_MIP_MEM_LIM_FEAS      111
#define QVN_STAT_MIP_MEM_LIM_INFEAS    112
#define QVN_STAT_MIP_ABORT_FEAS        113
#define QVN_STAT_MIP_ABORT_INFEAS      114
#define QVN_STAT_MIP_OPTIMAL_INFEAS    115
#define QVN_STAT_MIP_FAIL_FEAS_NO_TREE 116
#define QVN_STAT_MIP_FAIL_INFEAS_NO_TREE 117
#define QVN_STAT_MIP_UNBOUNDED         118
#define QVN_STAT_MIP_INForUNBD         119

/* ---- Problem types ---------------------------------------------------- */
#define QVN_PROB_LP        0
#define QVN_PROB_MILP      1
#define QVN_PROB_FIXEDMILP 3
#define QVN_PROB_NODELP    4
#define QVN_PROB_QP        5
#define QVN_PROB_MIQP      7
#define QVN_PROB_FIXEDMIQP 8
#define QVN_PROB_NODEQP    9
#define QVN_PROB_QCP      10
#define QVN_PROB_MIQCP    11
#define QVN_PROB_NODEQCP  12
#define QVN_PROB_FIXEDMIQCP 13

/* ---- Parameter numbers ------------------------------------------------ */
/* Kept in step with the library's parameter table by static assertions. */
#define QVN_PARAM_ADVIND                 1001
#define QVN_PARAM_AGGFILL                1002
#define QVN_PARAM_AGGIND                 1003
#define QVN_PARAM_CFILEMUL               1005
#define QVN_PARAM_CLOCKTYPE              1006
#define QVN_PARAM_CRAIND                 1007
#define QVN_PARAM_DEPIND                 1008
#define QVN_PARAM_DPRIIND                1009
#define QVN_PARAM_PRICELIM               1010
#define QVN_PARAM_EPMRK                  1013
#define QVN_PARAM_EPOPT                  1014
#define QVN_PARAM_EPPER                  1015
#define QVN_PARAM_EPRHS                  1016
#define QVN_PARAM_SIMDISPLAY             1019
#define QVN_PARAM_ITLIM                  1020
#define QVN_PARAM_ROWREADLIM             1021
#define QVN_PARAM_NETFIND                1022
#define QVN_PARAM_COLREADLIM             1023
#define QVN_PARAM_NZREADLIM              1024
#define QVN_PARAM_OBJLLIM                1025
#define QVN_PARAM_OBJULIM                1026
#define QVN_PARAM_PERIND                 1027
#define QVN_PARAM_PERLIM                 1028
#define QVN_PARAM_PPRIIND                1029
#define QVN_PARAM_PREIND                 1030
#define QVN_PARAM_REINV                  1031
#define QVN_PARAM_RFILEMUL               1033
#define QVN_PARAM_SCAIND                 1034
#define QVN_PARAM_SCRIND                 1035
#define QVN_PARAM_SINGLIM                1037
#define QVN_PARAM_SINGTOL                1038
#define QVN_PARAM_TILIM                  1039
#define QVN_PARAM_PREDUAL                1044
#define QVN_PARAM_PREPASS                1052
#define QVN_PARAM_DATACHECK              1056
#define QVN_PARAM_REDUCE                 1057
#define QVN_PARAM_PRELINEAR              1058
#define QVN_PARAM_LPMETHOD               1062
#define QVN_PARAM_QPMETHOD               1063
#define QVN_PARAM_WORKDIR                1064
#define QVN_PARAM_WORKMEM                1065
#define QVN_PARAM_THREADS                1067
#define QVN_PARAM_CONFLICTDISPLAY        1074
#define QVN_PARAM_SIFTDISPLAY            1076
#define QVN_PARAM_SIFTALG                1077
#define QVN_PARAM_SIFTITLIM              1078
#define QVN_PARAM_MPSLONGNUM             1081
#define QVN_PARAM_MEMORYEMPHASIS         1082
#define QVN_PARAM_NUMERICALEMPHASIS      1083
#define QVN_PARAM_FEASOPTMODE            1084
#define QVN_PARAM_BRDIR                  2001
#define QVN_PARAM_BTTOL                  2002
#define QVN_PARAM_CLIQUES                2003
#define QVN_PARAM_COEREDIND              2004
#define QVN_PARAM_COVERS                 2005
#define QVN_PARAM_CUTLO                  2006
#define QVN_PARAM_CUTUP                  2007
#define QVN_PARAM_EPAGAP                 2008
#define QVN_PARAM_EPGAP                  2009
#define QVN_PARAM_EPINT                  2010
#define QVN_PARAM_MIPDISPLAY             2012
#define QVN_PARAM_MIPINTERVAL            2013
#define QVN_PARAM_MIPTHREADS             2014
#define QVN_PARAM_INTSOLLIM              2015
#define QVN_PARAM_NODEFILEIND            2016
#define QVN_PARAM_NODELIM                2017
#define QVN_PARAM_NODESEL                2018
#define QVN_PARAM_OBJDIF                 2019
#define QVN_PARAM_MIPORDIND              2020
#define QVN_PARAM_RELOBJDIF              2022
#define QVN_PARAM_STARTALG               2025
#define QVN_PARAM_SUBALG                 2026
#define QVN_PARAM_TRELIM                 2027
#define QVN_PARAM_VARSEL                 2028
#define QVN_PARAM_BNDSTRENIND            2029
#define QVN_PARAM_HEURFREQ               2031
#define QVN_PARAM_MIPORDTYPE             2032
#define QVN_PARAM_CUTSFACTOR             2033
#define QVN_PARAM_RELAXPREIND            2034
#define QVN_PARAM_PRESLVND               2037
#define QVN_PARAM_BBINTERVAL             2039
#define QVN_PARAM_FLOWCOVERS             2040
#define QVN_PARAM_IMPLBD                 2041
#define QVN_PARAM_PROBE                  2042
#define QVN_PARAM_GUBCOVERS              2044
#define QVN_PARAM_STRONGCANDLIM          2045
#define QVN_PARAM_STRONGITLIM            2046
#define QVN_PARAM_STRONGTHREADLIM        2047
#define QVN_PARAM_FRACCAND               2048
#define QVN_PARAM_FRACCUTS               2049
#define QVN_PARAM_FRACPASS               2050
#define QVN_PARAM_FLOWPATHS              2051
#define QVN_PARAM_MIRCUTS                2052
#define QVN_PARAM_DISJCUTS               2053
#define QVN_PARAM_AGGCUTLIM              2054
#define QVN_PARAM_MIPCBREDLP             2055
#define QVN_PARAM_CUTPASS                2056
#define QVN_PARAM_MIPEMPHASIS            2058
#define QVN_PARAM_SYMMETRY               2059
#define QVN_PARAM_DIVETYPE               2060
#define QVN_PARAM_RINSHEUR               2061
#define QVN_PARAM_SUBMIPNODELIM          2062
#define QVN_PARAM_LBHEUR                 2063
#define QVN_PARAM_REPEATPRESOLVE         2064
#define QVN_PARAM_PROBETIME              2065
#define QVN_PARAM_POLISHTIME             2066
#define QVN_PARAM_REPAIRTRIES            2067
#define QVN_PARAM_EPRELAX                2073
#define QVN_PARAM_BAREPCOMP              3002
#define QVN_PARAM_BARGROWTH              3003
#define QVN_PARAM_BAROBJRNG              3004
#define QVN_PARAM_BARALG                 3007
#define QVN_PARAM_BARCOLNZ               3009
#define QVN_PARAM_BARDISPLAY             3010
#define QVN_PARAM_BARITLIM               3012
#define QVN_PARAM_BARMAXCOR              3013
#define QVN_PARAM_BARORDER               3014
#define QVN_PARAM_BARTHREADS             3016
#define QVN_PARAM_BARSTARTALG            3017
#define QVN_PARAM_BARCROSSALG            3018
#define QVN_PARAM_BARQCPEPCOMP           3020
#define QVN_PARAM_QPNZREADLIM            4001
#define QVN_PARAM_QPMAKEPSDIND           4010
#define QVN_PARAM_NETITLIM               5001
#define QVN_PARAM_NETEPOPT               5002
#define QVN_PARAM_NETEPRHS               5003
#define QVN_PARAM_NETPPRIIND             5004
#define QVN_PARAM_NETDISPLAY             5005

/* ---- Environment and call frame --------------------------------------- */
QVN_API QVNENVptr QVNopenQUORVAN(int *status);
QVN_API int QVNcloseQUORVAN(QVNENVptr *envPointer);
QVN_API QVNENVptr QVNparenv(QVNENVptr env, int *status);
QVN_API int QVNfreeparenv(QVNENVptr env, QVNENVptr *childPointer);
QVN_API const char *QVNversion(QVNCENVptr env);
QVN_API int QVNgetchannels(QVNCENVptr env, QVNCHANNELptr *results, QVNCHANNELptr *warning,
                           QVNCHANNELptr *error, QVNCHANNELptr *log);
QVN_API int QVNflushstdchannels(QVNCENVptr env);
QVN_API int QVNsetterminate(QVNENVptr env, volatile int *flagPointer);
QVN_API int QVNputenv(const char *text);
QVN_API double QVNEgetbigreal(QVNCENVptr env);
QVN_API int QVNEgetThreadNumber(QVNCENVptr env);

/* ---- Errors and status texts ------------------------------------------ */
/* buffer must hold 1024 characters. */
QVN_API const char *QVNgeterrorstring(QVNCENVptr env, int errcode, char *buffer);
QVN_API const char *QVNgetstatstring(QVNCENVptr env, int statind, char *buffer);

/* ---- Message channels ------------------------------------------------- */
QVN_API QVNCHANNELptr QVNaddchannel(QVNENVptr env);
QVN_API int QVNdelchannel(QVNENVptr env, QVNCHANNELptr *channelPointer);
QVN_API int QVNdisconnectchannel(QVNCENVptr env, QVNCHANNELptr channel);
QVN_API int QVNflushchannel(QVNCENVptr env, QVNCHANNELptr channel);
QVN_API int QVNaddfpdest(QVNCENVptr env, QVNCHANNELptr channel, FILE *file);
QVN_API int QVNdelfpdest(QVNCENVptr env, QVNCHANNELptr channel, FILE *file);
QVN_API int QVNaddfuncdest(QVNCENVptr env, QVNCHANNELptr channel, void *userHandle,
                           void (*function)(void *userHandle, const char *text));
QVN_API int QVNdelfuncdest(QVNCENVptr env, QVNCHANNELptr channel, void *userHandle,
                           void (*function)(void *userHandle, const char *text));
QVN_API int QVNmsg(QVNCHANNELptr channel, const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;
QVN_API int QVNmsgstr(QVNCHANNELptr channel, const char *text);
QVN_API int QVNsetlogfile(QVNENVptr env, FILE *file);
QVN_API int QVNgetlogfile(QVNCENVptr env, FILE **filePointer);

/* ---- Parameters ------------------------------------------------------- */
QVN_API int QVNsetintparam(QVNENVptr env, int number, int value);
QVN_API int QVNsetdblparam(QVNENVptr env, int number, double value);
QVN_API int QVNsetstrparam(QVNENVptr env, int number, const char *text);
QVN_API int QVNgetintparam(QVNCENVptr env, int number, int *valuePointer);
QVN_API int QVNgetdblparam(QVNCENVptr env, int number, double *valuePointer);
QVN_API int QVNgetstrparam(QVNCENVptr env, int number, char *buffer);
QVN_API int QVNinfointparam(QVNCENVptr env, int number, int *defaultPointer, int *minPointer,
                            int *maxPointer);
QVN_API int QVNinfodblparam(QVNCENVptr env, int number, double *defaultPointer,
                            double *minPointer, double *maxPointer);
QVN_API int QVNinfostrparam(QVNCENVptr env, int number, char *buffer);
QVN_API int QVNgetparamname(QVNCENVptr env, int number, char *buffer);
QVN_API int QVNgetparamnum(QVNCENVptr env, const char *name, int *numberPointer);
QVN_API int QVNsetdefaults(QVNENVptr env);
/* Numbers, in rising order, of the named parameters that differ from their
   defaults; numberArray (may be null to count only) must have room for them all. */
QVN_API int QVNgetchgparams(QVNCENVptr env, int *countPointer, int *numberArray);
/* Parameter files (".prm"); compressed by name (".gz", ".bz2"). */
QVN_API int QVNwriteparam(QVNCENVptr env, const char *fileName);
QVN_API int QVNreadcopyparam(QVNENVptr env, const char *fileName);

/* ---- Memory and file services ----------------------------------------- */
QVN_API void *QVNmalloc(size_t size);
QVN_API void *QVNrealloc(void *block, size_t size);
QVN_API void QVNfree(void *block);
QVN_API void *QVNmemcpy(void *target, const void *source, size_t count);
QVN_API char *QVNstrcpy(char *target, const char *source);
QVN_API size_t QVNstrlen(const char *text);
/* Files of the library's own C runtime, for callers linked against another one. */
QVN_API FILE *QVNfopen(const char *name, const char *mode);
QVN_API int QVNfclose(FILE *file);
QVN_API int QVNfputs(const char *text, FILE *file);
/* Ascending sorts of integer keys; QVNEisort moves permutation along with keys. */
QVN_API void QVNEisort(int count, int *keys, int *permutation);
QVN_API void QVNEinsort(int count, int *keys);

/* ---- Problem object --------------------------------------------------- */
QVN_API QVNLPptr QVNcreateprob(QVNCENVptr env, int *status, const char *name);
QVN_API QVNLPptr QVNcloneprob(QVNCENVptr env, QVNCLPptr lp, int *status);
QVN_API int QVNfreeprob(QVNCENVptr env, QVNLPptr *lpPointer);
QVN_API int QVNcopylp(QVNCENVptr env, QVNLPptr lp, int numCols, int numRows, int objSense,
                      const double *objCoef, const double *rhs, const char *sense,
                      const int *colStart, const int *colCount, const int *rowIndex,
                      const double *coefValue, const double *lowerBound,
                      const double *upperBound, const double *rangeValue);
QVN_API int QVNcopylpwnames(QVNCENVptr env, QVNLPptr lp, int numCols, int numRows, int objSense,
                            const double *objCoef, const double *rhs, const char *sense,
                            const int *colStart, const int *colCount, const int *rowIndex,
                            const double *coefValue, const double *lowerBound,
                            const double *upperBound, const double *rangeValue,
                            char **colNames, char **rowNames);
QVN_API int QVNcompletelp(QVNCENVptr env, QVNLPptr lp);
QVN_API int QVNEcacheNewCols(QVNCENVptr env, QVNLPptr lp, int count, const double *objCoef,
                             const double *lowerBound, const double *upperBound,
                             const char *ctype, char **names);
QVN_API int QVNEcacheNewRows(QVNCENVptr env, QVNLPptr lp, int count, const double *rhs,
                             const char *sense, const double *rangeValue, char **names);
QVN_API int QVNEcacheNewNZsByNZ(QVNCENVptr env, QVNLPptr lp, int count, const int *rowList,
                                const int *colList, const double *valueList);
QVN_API int QVNgetprobtype(QVNCENVptr env, QVNCLPptr lp);

/* ---- Reading back a problem ------------------------------------------- */
QVN_API int QVNgetnumcols(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNgetnumrows(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNgetnumnz(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNgetobjsen(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNgetstat(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNEgetnumrownz(QVNCENVptr env, QVNCLPptr lp, int row);
/* Range getters copy entries begin..end inclusive. */
QVN_API int QVNgetobj(QVNCENVptr env, QVNCLPptr lp, double *values, int begin, int end);
QVN_API int QVNgetrhs(QVNCENVptr env, QVNCLPptr lp, double *values, int begin, int end);
QVN_API int QVNgetsense(QVNCENVptr env, QVNCLPptr lp, char *values, int begin, int end);
QVN_API int QVNgetlb(QVNCENVptr env, QVNCLPptr lp, double *values, int begin, int end);
QVN_API int QVNgetub(QVNCENVptr env, QVNCLPptr lp, double *values, int begin, int end);
QVN_API int QVNgetrngval(QVNCENVptr env, QVNCLPptr lp, double *values, int begin, int end);
/* row -1 reads the objective, col -1 the right-hand side. */
QVN_API int QVNgetcoef(QVNCENVptr env, QVNCLPptr lp, int row, int col, double *valuePointer);
/* Surplus protocol: with space 0 only *surplus (minus the need) is set; 1207
   when the room is short, with *surplus negative. */
QVN_API int QVNgetcols(QVNCENVptr env, QVNCLPptr lp, int *nzCount, int *colStartOut, int *rowIndexOut,
                       double *coefValueOut, int space, int *surplus, int begin, int end);
QVN_API int QVNgetrows(QVNCENVptr env, QVNCLPptr lp, int *nzCount, int *rowStartOut, int *colIndexOut,
                       double *coefValueOut, int space, int *surplus, int begin, int end);
QVN_API int QVNgetcolname(QVNCENVptr env, QVNCLPptr lp, char **nameArray, char *store, int space,
                          int *surplus, int begin, int end);
QVN_API int QVNgetrowname(QVNCENVptr env, QVNCLPptr lp, char **nameArray, char *store, int space,
                          int *surplus, int begin, int end);
QVN_API int QVNgetprobname(QVNCENVptr env, QVNCLPptr lp, char *buffer, int space, int *surplus);
QVN_API int QVNgetobjname(QVNCENVptr env, QVNCLPptr lp, char *buffer, int space, int *surplus);
/* 1210 (not printed) when no entry has the name. */
QVN_API int QVNgetcolindex(QVNCENVptr env, QVNCLPptr lp, const char *name, int *indexPointer);
QVN_API int QVNgetrowindex(QVNCENVptr env, QVNCLPptr lp, const char *name, int *indexPointer);
QVN_API int QVNgetobjoffset(QVNCENVptr env, QVNCLPptr lp, double *offsetPointer);

/* ---- Building and changing a problem ---------------------------------- */
QVN_API int QVNnewrows(QVNCENVptr env, QVNLPptr lp, int count, const double *rhs, const char *sense,
                       const double *rangeValue, char **rowNames);
QVN_API int QVNaddrows(QVNCENVptr env, QVNLPptr lp, int newCols, int newRows, int newNonzeros,
                       const double *rhs, const char *sense, const int *rowStart, const int *colIndex,
                       const double *coefValue, char **colNames, char **rowNames);
QVN_API int QVNnewcols(QVNCENVptr env, QVNLPptr lp, int count, const double *objCoef,
                       const double *lowerBound, const double *upperBound, const char *ctype,
                       char **colNames);
QVN_API int QVNaddcols(QVNCENVptr env, QVNLPptr lp, int count, int newNonzeros, const double *objCoef,
                       const int *colStart, const int *rowIndex, const double *coefValue,
                       const double *lowerBound, const double *upperBound, char **colNames);
QVN_API int QVNdelrows(QVNCENVptr env, QVNLPptr lp, int begin, int end);
QVN_API int QVNdelcols(QVNCENVptr env, QVNLPptr lp, int begin, int end);
/* deleteFlags: 1 deletes; on return each entry holds the new index or -1. */
QVN_API int QVNdelsetrows(QVNCENVptr env, QVNLPptr lp, int *deleteFlags);
QVN_API int QVNdelsetcols(QVNCENVptr env, QVNLPptr lp, int *deleteFlags);
/* row -1: objective; col -1: right-hand side; col -2: range value. */
QVN_API int QVNchgcoef(QVNCENVptr env, QVNLPptr lp, int row, int col, double value);
QVN_API int QVNchgcoeflist(QVNCENVptr env, QVNLPptr lp, int count, const int *rowList,
                           const int *colList, const double *valueList);
QVN_API int QVNchgobj(QVNCENVptr env, QVNLPptr lp, int count, const int *indices, const double *values);
QVN_API int QVNchgrhs(QVNCENVptr env, QVNLPptr lp, int count, const int *indices, const double *values);
QVN_API int QVNchgrngval(QVNCENVptr env, QVNLPptr lp, int count, const int *indices,
                         const double *values);
QVN_API int QVNchgsense(QVNCENVptr env, QVNLPptr lp, int count, const int *indices, const char *senses);
/* boundKinds: 'L', 'U' or 'B' (both) per entry. */
QVN_API int QVNchgbds(QVNCENVptr env, QVNLPptr lp, int count, const int *indices, const char *boundKinds,
                      const double *values);
QVN_API int QVNtightenbds(QVNCENVptr env, QVNLPptr lp, int count, const int *indices,
                          const char *boundKinds, const double *values);
QVN_API int QVNchgobjsen(QVNCENVptr env, QVNLPptr lp, int sense);
QVN_API int QVNchgobjoffset(QVNCENVptr env, QVNLPptr lp, double offset);
QVN_API int QVNchgprobtype(QVNCENVptr env, QVNLPptr lp, int type);
/* key 'r' renames a row, 'c' a column. */
QVN_API int QVNchgname(QVNCENVptr env, QVNLPptr lp, int key, int index, const char *text);
QVN_API int QVNchgrowname(QVNCENVptr env, QVNLPptr lp, int count, const int *indices, char **names);
QVN_API int QVNchgcolname(QVNCENVptr env, QVNLPptr lp, int count, const int *indices, char **names);
QVN_API int QVNchgprobname(QVNCENVptr env, QVNLPptr lp, const char *text);
QVN_API int QVNcopyobjname(QVNCENVptr env, QVNLPptr lp, const char *text);
QVN_API int QVNdelnames(QVNCENVptr env, QVNLPptr lp);
/* Name hooks: each returns the name of an index, and may use the 17-character
   scratch buffer it is given. Any may be null. */
QVN_API int QVNEsetnamefunctions(QVNENVptr env, void *userHandle,
                                 const char *(*colNameFunction)(void *, int, char *),
                                 const char *(*rowNameFunction)(void *, int, char *),
                                 const char *(*indicatorNameFunction)(void *, int, char *),
                                 const char *(*sosNameFunction)(void *, int, char *),
                                 const char *(*qconstrNameFunction)(void *, int, char *));
struct NameTable;
/* Appends names to a name table; null names (or null/empty entries) get generated ones. */
QVN_API int QVNEnsAddNames(struct NameTable *table, int count, char **names);

/* ---- Integer, SOS, order and MIP start data --------------------------- */
/* Column types: 'C' continuous, 'B' binary, 'I' integer, 'S' semi-continuous, 'N' semi-integer. */
QVN_API int QVNcopyctype(QVNCENVptr env, QVNLPptr lp, const char *ctype);
QVN_API int QVNchgctype(QVNCENVptr env, QVNLPptr lp, int count, const int *indices, const char *letters);
QVN_API int QVNgetctype(QVNCENVptr env, QVNCLPptr lp, char *letters, int begin, int end);
QVN_API int QVNgetnumint(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNgetnumbin(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNgetnumsemicont(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNgetnumsemiint(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNcopyorder(QVNCENVptr env, QVNLPptr lp, int count, const int *indices, const int *priorities,
                         const int *directions);
QVN_API int QVNgetorder(QVNCENVptr env, QVNCLPptr lp, int *countOut, int *indices, int *priorities,
                        int *directions, int space, int *surplus);
QVN_API int QVNcopysos(QVNCENVptr env, QVNLPptr lp, int count, int nonzeros, const char *types,
                       const int *starts, const int *indices, const double *weights, char **names);
QVN_API int QVNaddsos(QVNCENVptr env, QVNLPptr lp, int count, int nonzeros, const char *types,
                      const int *starts, const int *indices, const double *weights, char **names);
QVN_API int QVNdelsetsos(QVNCENVptr env, QVNLPptr lp, int *deleteFlags);
QVN_API int QVNgetsos(QVNCENVptr env, QVNCLPptr lp, int *nonzeroCount, char *types, int *starts,
                      int *indices, double *weights, int space, int *surplus, int begin, int end);
QVN_API int QVNgetnumsos(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNgetsosname(QVNCENVptr env, QVNCLPptr lp, char **nameArray, char *store, int space,
                          int *surplus, int begin, int end);
QVN_API int QVNgetsosindex(QVNCENVptr env, QVNCLPptr lp, const char *name, int *indexPointer);
QVN_API int QVNcopymipstart(QVNCENVptr env, QVNLPptr lp, int count, const int *indices,
                            const double *values);
QVN_API int QVNchgmipstart(QVNCENVptr env, QVNLPptr lp, int count, const int *indices,
                           const double *values);
QVN_API int QVNgetmipstart(QVNCENVptr env, QVNCLPptr lp, int *countOut, int *indices, double *values,
                           int space, int *surplus);

/* ---- Quadratic data --------------------------------------------------- */
/* The objective is c'x + 1/2 x'Qx with Q symmetric, given column-wise. */
QVN_API int QVNcopyquad(QVNCENVptr env, QVNLPptr lp, const int *qColStart, const int *qColCount,
                        const int *qRowIndex, const double *qValue);
QVN_API int QVNcopyqpsep(QVNCENVptr env, QVNLPptr lp, const double *diagonal);
QVN_API int QVNgetnumqpnz(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNgetnumquad(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNgetquad(QVNCENVptr env, QVNCLPptr lp, int *nzCount, int *qColStartOut, int *qRowIndexOut,
                       double *qValueOut, int space, int *surplus, int begin, int end);
QVN_API int QVNgetqpcoef(QVNCENVptr env, QVNCLPptr lp, int row, int col, double *valuePointer);
/* Sets Q[row][col] and Q[col][row]. */
QVN_API int QVNchgqpcoef(QVNCENVptr env, QVNLPptr lp, int row, int col, double value);
/* x (one entry per column) with x'Qx < 0; 5014 when Q is positive semi-definite. */
QVN_API int QVNqpindefcertificate(QVNCENVptr env, QVNCLPptr lp, double *x);

/* ---- Model files ------------------------------------------------------ */
/* typeWord may be null: the name's extension or the file's first bytes decide. */
QVN_API int QVNreadcopyprob(QVNENVptr env, QVNLPptr lp, const char *fileName, const char *typeWord);
QVN_API int QVNwriteprob(QVNCENVptr env, QVNCLPptr lp, const char *fileName, const char *typeWord);
QVN_API int QVNmpswrite(QVNCENVptr env, QVNCLPptr lp, const char *fileName);
QVN_API int QVNmpsrewrite(QVNCENVptr env, QVNCLPptr lp, const char *fileName);
QVN_API int QVNlpwrite(QVNCENVptr env, QVNCLPptr lp, const char *fileName);
QVN_API int QVNlprewrite(QVNCENVptr env, QVNCLPptr lp, const char *fileName);
/* The dual of a linear problem as an MPS file, a minimization whose optimum D
   gives the problem's optimum as shift - D (shift + D for a maximization);
   fixed columns show only through the shift, returned in objShift (may be
   NULL) and stated on the NAME line. */
QVN_API int QVNdualwrite(QVNCENVptr env, QVNCLPptr lp, const char *fileName, double *objShift);
/* Model files into the caller's arrays, without a problem. Every array comes
   from QVNmalloc (free it with QVNfree) and holds the read count plus the
   extra room asked in the in/out numbers colExtra ... rowNameExtra, which
   return the sizes allocated (each at least 1); those may be NULL for no
   extra room. Columns are colStart/colCount/rowIndex/coefValue as in
   QVNcopylp; range is NULL-free and 0 for rows that are not 'R'. objName and
   rhsName take 256 bytes each and may be NULL. The names are pointers into
   one store each. The "m" forms add column types (ctype, 'C' throughout for
   an LP) and the special ordered sets, the "q" forms the quadratic objective
   (full symmetric Q by columns); a plain form gives all. What a form does not
   return is read, checked and dropped with a warning. */
#define QVN_READ_ARRAY_ARGS                                                                              \
  QVNENVptr env, const char *fileName, int *numColsOut, int *numRowsOut, int *objSenseOut,           \
      double **objOut, double **rhsOut, char **senseOut, double **rangeOut, int **colStartOut,         \
      int **colCountOut, int **rowIndexOut, double **coefValueOut, double **lowerOut, double **upperOut, \
      char *objNameOut, char *rhsNameOut, char ***colNamesOut, char **colStoreOut, char ***rowNamesOut,  \
      char **rowStoreOut, int *colExtra, int *rowExtra, int *nzExtra, int *colNameExtra, int *rowNameExtra
#define QVN_READ_MIP_ARGS                                                                                \
  char **ctypeOut, int *sosCountOut, int *sosNzOut, char **sosTypeOut, int **sosStartOut, int **sosIndexOut, \
      double **sosWeightOut
#define QVN_READ_QUAD_ARGS int **qmatbegOut, int **qmatcntOut, int **qmatindOut, double **qmatvalOut, int *qnzOut
QVN_API int QVNlpread(QVN_READ_ARRAY_ARGS, QVN_READ_MIP_ARGS, QVN_READ_QUAD_ARGS);
QVN_API int QVNlpmread(QVN_READ_ARRAY_ARGS, QVN_READ_MIP_ARGS);
QVN_API int QVNlpqread(QVN_READ_ARRAY_ARGS, QVN_READ_QUAD_ARGS);
QVN_API int QVNmpsread(QVN_READ_ARRAY_ARGS, QVN_READ_MIP_ARGS, QVN_READ_QUAD_ARGS);
QVN_API int QVNmpsmread(QVN_READ_ARRAY_ARGS, QVN_READ_MIP_ARGS);
QVN_API int QVNmpsqread(QVN_READ_ARRAY_ARGS, QVN_READ_QUAD_ARGS);

/* ---- Side files ------------------------------------------------------- */
/* Priority order (".ord"), SOS (".sos") and MIP start (".mst", text or XML)
   files. A reader parses the whole file before it changes the problem: on an
   error the problem keeps what it held. Names are matched against the column
   names, or against x1, x2, ... when the problem has none. */
QVN_API int QVNreadcopyorder(QVNCENVptr env, QVNLPptr lp, const char *fileName);
QVN_API int QVNordwrite(QVNCENVptr env, QVNCLPptr lp, const char *fileName);
QVN_API int QVNreadcopysos(QVNCENVptr env, QVNLPptr lp, const char *fileName);
QVN_API int QVNsoswrite(QVNCENVptr env, QVNCLPptr lp, const char *fileName);
QVN_API int QVNreadcopymipstart(QVNCENVptr env, QVNLPptr lp, const char *fileName);
/* Basis files (".bas", the MPS basis form): the read basis is held as the
   start of the next optimization (with QVN_PARAM_ADVIND on); the writer
   writes the held basis, 1262 without one. */
QVN_API int QVNreadcopybase(QVNCENVptr env, QVNLPptr lp, const char *fileName);
QVN_API int QVNmbasewrite(QVNCENVptr env, QVNCLPptr lp, const char *fileName);
/* Reads a basis file into cstat (numcols) and rstat (numrows), in the
   statuses of QVNgetbase, without holding it. */
QVN_API int QVNmbaseread(QVNCENVptr env, QVNCLPptr lp, const char *fileName, int *cstat, int *rstat);
/* Read a priority order or SOS file into the caller's arrays without loading
   it: for the order, arrays of numcols entries; for the sets, the layout of
   QVNgetsos, with sosspace sets and nzspace members of room, 1207 and the
   missing room in surplus (negative) when that is too little. */
QVN_API int QVNordread(QVNCENVptr env, QVNCLPptr lp, const char *fileName, int *cnt, int *indices, int *priority,
                       int *direction);
QVN_API int QVNsosread(QVNCENVptr env, QVNCLPptr lp, const char *fileName, int *numsos, int *numsosnz,
                       char *sostype, int *sosbeg, int *sosind, double *soswt, int sosspace, int nzspace,
                       int *surplus);
/* Vector files (".vec"): per column its value and reduced cost, per row its
   slack and dual. Read back, the values are held as a primal start (and a
   dual one when every line has its dual number) from which the next
   optimization builds its first basis; a held basis is dropped. The writer
   needs a solution: 1556 without one. */
QVN_API int QVNreadcopyvec(QVNCENVptr env, QVNLPptr lp, const char *fileName);
QVN_API int QVNvecwrite(QVNCENVptr env, QVNCLPptr lp, const char *fileName);
/* The integer columns of the incumbent, in the text form. */
QVN_API int QVNmstwrite(QVNCENVptr env, QVNCLPptr lp, const char *fileName);
/* The current solution (an LP's, or a MIP's incumbent) as an XML document;
   1217 without one. QVNreadcopymipstart reads its values back as a start. */
QVN_API int QVNsolwrite(QVNCENVptr env, QVNCLPptr lp, const char *fileName);
/* Reads an XML solution document as the start of the next optimization: the
   values as a primal start, the duals as a dual start, and, when every
   variable and constraint carries a status, the basis. */
QVN_API int QVNreadcopysol(QVNCENVptr env, QVNLPptr lp, const char *fileName);

/* ---- Optimizers and solution access ----------------------------------- */
QVN_API int QVNlpopt(QVNCENVptr env, QVNLPptr lp);
QVN_API int QVNprimopt(QVNCENVptr env, QVNLPptr lp);
QVN_API int QVNbaropt(QVNCENVptr env, QVNLPptr lp);
QVN_API int QVNhybbaropt(QVNCENVptr env, QVNLPptr lp, int method);
/* The network part of the LP solved by the network simplex gives the start
   basis; `method` 'd' (or 2) finishes by the dual simplex, 'p' (or 1) by the
   primal. */
QVN_API int QVNhybnetopt(QVNCENVptr env, QVNLPptr lp, int method);
/* The optimizer chosen by QVN_PARAM_QPMETHOD; 0 and 4 run the barrier, which
   solves a quadratic objective with a positive semi-definite Q. */
QVN_API int QVNqpopt(QVNCENVptr env, QVNLPptr lp);
QVN_API int QVNgetbaritcnt(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNgetcrossppushcnt(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNgetcrosspexchcnt(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNgetcrossdpushcnt(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNgetcrossdexchcnt(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNdualopt(QVNCENVptr env, QVNLPptr lp);
QVN_API int QVNsolution(QVNCENVptr env, QVNCLPptr lp, int *statusOut, double *objectiveOut,
                        double *x, double *pi, double *slack, double *dj);
QVN_API int QVNsolninfo(QVNCENVptr env, QVNCLPptr lp, int *methodOut, int *typeOut,
                        int *primalFeasOut, int *dualFeasOut);
QVN_API int QVNgetobjval(QVNCENVptr env, QVNCLPptr lp, double *valuePointer);
QVN_API int QVNgetx(QVNCENVptr env, QVNCLPptr lp, double *x, int begin, int end);
QVN_API int QVNgetslack(QVNCENVptr env, QVNCLPptr lp, double *slack, int begin, int end);
QVN_API int QVNgetpi(QVNCENVptr env, QVNCLPptr lp, double *pi, int begin, int end);
QVN_API int QVNgetdj(QVNCENVptr env, QVNCLPptr lp, double *dj, int begin, int end);
QVN_API int QVNgetitcnt(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNgetphase1cnt(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNgetmethod(QVNCENVptr env, QVNCLPptr lp);
/* Row activities Ax of the current solution. Infeasibilities of a point x (the
   current solution when x is NULL): positive above the upper limit, negative
   below the lower one, 0 within. */
QVN_API int QVNgetax(QVNCENVptr env, QVNCLPptr lp, double *x, int begin, int end);
QVN_API int QVNgetrowinfeas(QVNCENVptr env, QVNCLPptr lp, const double *x, double *infeasout,
                            int begin, int end);
QVN_API int QVNgetcolinfeas(QVNCENVptr env, QVNCLPptr lp, const double *x, double *infeasout,
                            int begin, int end);
/* Quality of the current solution. The double form gives the measure, the
   integer form where its maximum occurs: column j as j, row i as
   numcols + i, -1 for none (for the two sums: -1). */
#define QVN_QUAL_MAX_PRIMAL_INFEAS   1
#define QVN_QUAL_MAX_DUAL_INFEAS     2
#define QVN_QUAL_MAX_PRIMAL_RESIDUAL 3
#define QVN_QUAL_MAX_DUAL_RESIDUAL   4
#define QVN_QUAL_MAX_X               5
#define QVN_QUAL_MAX_SLACK           6
#define QVN_QUAL_MAX_PI              7
#define QVN_QUAL_MAX_RED_COST        8
#define QVN_QUAL_SUM_PRIMAL_INFEAS   9
#define QVN_QUAL_SUM_DUAL_INFEAS    10
/* 11-20: keys 1-10 measured on the LP as the simplex scales it (x * colscale,
   rows / rowscale, duals * rowscale, reduced costs / colscale). */
#define QVN_QUAL_MAX_SCALED_PRIMAL_INFEAS   11
#define QVN_QUAL_MAX_SCALED_DUAL_INFEAS     12
#define QVN_QUAL_MAX_SCALED_PRIMAL_RESIDUAL 13
#define QVN_QUAL_MAX_SCALED_DUAL_RESIDUAL   14
#define QVN_QUAL_MAX_SCALED_X               15
#define QVN_QUAL_MAX_SCALED_SLACK           16
#define QVN_QUAL_MAX_SCALED_PI              17
#define QVN_QUAL_MAX_SCALED_RED_COST        18
#define QVN_QUAL_SUM_SCALED_PRIMAL_INFEAS   19
#define QVN_QUAL_SUM_SCALED_DUAL_INFEAS     20
/* 21-24: key 1 and 2 split by columns and rows. */
#define QVN_QUAL_MAX_COL_BOUND_INFEAS       21
#define QVN_QUAL_MAX_ROW_INFEAS             22
#define QVN_QUAL_MAX_COL_DUAL_INFEAS        23
#define QVN_QUAL_MAX_ROW_DUAL_INFEAS        24
/* 25-28: 1-norms of x, slack, pi, dj (integer form -1). */
#define QVN_QUAL_SUM_X                      25
#define QVN_QUAL_SUM_SLACK                  26
#define QVN_QUAL_SUM_PI                     27
#define QVN_QUAL_SUM_RED_COST               28
/* Infeasibilities relative to 1 + |limit| and 1 + |cost|. */
#define QVN_QUAL_MAX_REL_PRIMAL_INFEAS      29
#define QVN_QUAL_MAX_REL_DUAL_INFEAS        30
/* |distance to the nearest finite limit| x |dual| over columns and rows. */
#define QVN_QUAL_MAX_COMPLEMENTARITY        31
#define QVN_QUAL_SUM_COMPLEMENTARITY        32
/* c'x + offset, the dual objective of (pi, dj) and their difference. */
#define QVN_QUAL_PRIMAL_OBJ                 33
#define QVN_QUAL_DUAL_OBJ                   34
#define QVN_QUAL_OBJ_GAP                    35
/* Estimated 1-norm condition number of the held basis (integer form: its
   dimension); 1217 without a basis. */
#define QVN_QUAL_KAPPA                      36
/* Counts (both forms give the count): violations above EPRHS and EPOPT,
   basic columns and basic rows, basic variables at a bound, nonbasic
   variables pricing at zero, nonbasic variables away from their bounds. */
#define QVN_QUAL_COUNT_PRIMAL_INFEAS        37
#define QVN_QUAL_COUNT_DUAL_INFEAS          38
#define QVN_QUAL_COUNT_BASIC_COLS           39
#define QVN_QUAL_COUNT_BASIC_ROWS           40
#define QVN_QUAL_COUNT_PRIMAL_DEGENERATE    41
#define QVN_QUAL_COUNT_DUAL_DEGENERATE      42
#define QVN_QUAL_COUNT_OFF_BOUND_NONBASIC   43
/* Largest and smallest |a(i,j)| of the matrix, as entered and scaled
   (integer form: the column). */
#define QVN_QUAL_MAX_COEF                   44
#define QVN_QUAL_MIN_COEF                   45
#define QVN_QUAL_MAX_SCALED_COEF            46
#define QVN_QUAL_MIN_SCALED_COEF            47
/* Largest distance of a nonbasic variable from its nearest bound, largest
   row activity |a_i x|. */
#define QVN_QUAL_MAX_NONBASIC_OFF_BOUND     48
#define QVN_QUAL_MAX_ROW_ACTIVITY           49
/* The row scale factors the simplex applies to the problem under
   QVN_PARAM_SCAIND (a row's activity is divided by its factor); 1 for every
   row when scaling is off or not needed. QVNunscaleprob drops scale factors
   held on the problem. */
QVN_API int QVNgetrowscale(QVNCENVptr env, QVNCLPptr lp, double *scale, int begin, int end);
QVN_API int QVNunscaleprob(QVNCENVptr env, QVNLPptr lp);
QVN_API int QVNgetdblquality(QVNCENVptr env, QVNCLPptr lp, double *valuePointer, int key);
QVN_API int QVNgetintquality(QVNCENVptr env, QVNCLPptr lp, int *valuePointer, int key);

/* ---- Basis and factorization ------------------------------------------ */
/* Pricing norms of the held basis. A head entry j >= 0 is column j, -1-i the
   slack of row i. */
QVN_API int QVNgetdnorms(QVNCENVptr env, QVNCLPptr lp, double *norms, int *head, int *len);
QVN_API int QVNcopydnorms(QVNCENVptr env, QVNLPptr lp, const double *norms, const int *head, int len);
QVN_API int QVNgetpnorms(QVNCENVptr env, QVNCLPptr lp, double *cnorm, double *rnorm, int *len);
QVN_API int QVNcopypnorms(QVNCENVptr env, QVNLPptr lp, const double *cnorm, const double *rnorm, int len);
QVN_API void QVNkilldnorms(QVNLPptr lp);
QVN_API void QVNkillpnorms(QVNLPptr lp);
/* Dual pricing weights that rows not in the problem would have if added to the
   held basis. Row r has the entries rowStart[r] .. rowStart[r+1]-1 of colIndex
   and coefValue, so rowStart holds rowCount + 1 entries. */
QVN_API int QVNgetweight(QVNCENVptr env, QVNCLPptr lp, int rowCount, const int *rowStart, const int *colIndex,
                         const double *coefValue, double *weight, int dpriind);

/* ---- Sensitivity, advanced basis and sifting -------------------------- */
/* Ranges over which the optimal basis stays optimal, for rows or columns
   begin..end; any output may be NULL. 1e+20 stands for an open end. */
QVN_API int QVNrhssa(QVNCENVptr env, QVNCLPptr lp, int begin, int end, double *lower, double *upper);
QVN_API int QVNboundsa(QVNCENVptr env, QVNCLPptr lp, int begin, int end, double *lblower, double *lbupper,
                       double *ublower, double *ubupper);
QVN_API int QVNobjsa(QVNCENVptr env, QVNCLPptr lp, int begin, int end, double *lower, double *upper);
/* All rows and columns at once; arrays that are NULL are not computed. */
QVN_API int QVNErangesa(QVNCENVptr env, QVNCLPptr lp, double *rhsLower, double *rhsUpper, double *objLower,
                        double *objUpper, double *lbLower, double *lbUpper, double *ubLower, double *ubUpper);
/* The held basis B. A head entry j >= 0 is column j, -1-i the slack of row i,
   s_i = rhs_i - a_i x, whose column in B is the unit vector e_i. Row statuses
   are those of the slack: 0 tight at the right-hand side, 1 basic, 2 at the
   other end of a range. */
QVN_API int QVNgetbhead(QVNCENVptr env, QVNCLPptr lp, int *head, double *x);
QVN_API int QVNbinvcol(QVNCENVptr env, QVNCLPptr lp, int j, double *x);
QVN_API int QVNbinvrow(QVNCENVptr env, QVNCLPptr lp, int i, double *y);
QVN_API int QVNbinvacol(QVNCENVptr env, QVNCLPptr lp, int j, double *x);
QVN_API int QVNbinvarow(QVNCENVptr env, QVNCLPptr lp, int i, double *z);
QVN_API int QVNftran(QVNCENVptr env, QVNCLPptr lp, double *x);
QVN_API int QVNbtran(QVNCENVptr env, QVNCLPptr lp, double *y);
/* Basis position of the slack of row i (i >= 0) or else of column j. */
QVN_API int QVNgetijrow(QVNCENVptr env, QVNCLPptr lp, int i, int j, int *row);
QVN_API int QVNgetbase(QVNCENVptr env, QVNCLPptr lp, int *cstat, int *rstat);
QVN_API int QVNcopybase(QVNCENVptr env, QVNLPptr lp, const int *cstat, const int *rstat);
QVN_API int QVNcopypartialbase(QVNCENVptr env, QVNLPptr lp, int ccnt, const int *cindices, const int *cstat,
                               int rcnt, const int *rindices, const int *rstat);
QVN_API int QVNcopystart(QVNCENVptr env, QVNLPptr lp, const int *cstat, const int *rstat, const double *cprim,
                         const double *rprim, const double *cdual, const double *rdual);
/* Index (as in the head) of the worst violated variable, or 2100000000. */
QVN_API int QVNcheckpfeas(QVNCENVptr env, QVNCLPptr lp, int *infeasout);
QVN_API int QVNcheckdfeas(QVNCENVptr env, QVNCLPptr lp, int *infeasout);
/* jenter and jleave as in the head; jleave == jenter flips a bound. */
QVN_API int QVNpivot(QVNCENVptr env, QVNLPptr lp, int jenter, int jleave, int leavestat);
QVN_API int QVNpivotin(QVNCENVptr env, QVNLPptr lp, const int *rows, int count);
QVN_API int QVNpivotout(QVNCENVptr env, QVNLPptr lp, const int *columns, int count);
QVN_API int QVNsetphase2(QVNCENVptr env, QVNLPptr lp);
/* For basic columns: the least rise of the objective (in its own sense, as a
   loss) when the column is forced to its lower or upper bound; 1e+20 when
   it cannot be. */
QVN_API int QVNmdleave(QVNCENVptr env, QVNLPptr lp, const int *indices, int cnt, double *downratio,
                       double *upratio);
/* Trial primal ratio tests for nonbasic variables (indices as in the head:
   j >= 0 a column, -1-i the slack of row i): the step the variable can make
   down or up before a basic variable reaches a bound (ratio), that variable
   (leave, as in the head; the variable itself when it reaches its own other
   bound first) and the bound it reaches (leavestatus 0 lower, 2 upper), and
   status 0 for a step found, 1 for an unlimited move (ratio 1e+20, leave -1),
   2 for a direction its bound forbids (ratio 0); 1003 for a basic index.
   Nothing changes. */
QVN_API int QVNpratio(QVNCENVptr env, QVNLPptr lp, const int *indices, int cnt, double *downratio,
                      double *upratio, int *downleave, int *upleave, int *downleavestatus, int *upleavestatus,
                      int *downstatus, int *upstatus);
/* Trial dual ratio tests for basic variables (indices as in the head): when
   the variable leaves down to its lower or up to its upper bound, the dual
   step before a nonbasic reduced cost reaches zero (ratio), the variable that
   would enter (enter, as in the head), and status 0 for a step found, 1 when
   no nonbasic variable can enter (ratio 1e+20, enter -1), 2 when that bound
   is infinite. Nothing changes. */
QVN_API int QVNdratio(QVNCENVptr env, QVNLPptr lp, const int *indices, int cnt, double *downratio,
                      double *upratio, int *downenter, int *upenter, int *downstatus, int *upstatus);
/* Recomputes the basic solution of the held basis (values, duals, reduced
   costs) and stores it as the problem's solution, of status 1 (optimal) when
   it is primal and dual feasible and 6 (non-optimal) otherwise; lpstatus
   receives 1 or 0 accordingly (1262 without a basis). */
QVN_API int QVNchecksoln(QVNCENVptr env, QVNLPptr lp, int *lpstatus);
/* y with y'b - max over the column bounds of (y'A)x > 0, y <= 0 on 'L' rows
   and y >= 0 on 'G' rows; proof receives that difference. */
QVN_API int QVNdualfarkas(QVNCENVptr env, QVNCLPptr lp, double *y, double *proof);
/* A direction z of the columns along which the objective improves without end. */
QVN_API int QVNgetray(QVNCENVptr env, QVNCLPptr lp, double *z);
/* Sifting: QVNsiftopt is QVNlpopt with method 5. */
QVN_API int QVNsiftopt(QVNCENVptr env, QVNLPptr lp);
QVN_API int QVNgetsiftitcnt(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNgetsiftphase1cnt(QVNCENVptr env, QVNCLPptr lp);
/* For code running inside a sifting run (an LP callback during a work LP
   solve), lp being the problem given to the optimizer (after presolve the
   frame is the reduced problem's). The values are those of the last finished
   work solve, over all columns of the problem: a column outside the work LP
   rests at 0 and is priced with the work duals; in phase 1 they belong to
   the infeasibility. Added and deleted columns (by index of the problem) and
   the method (0 automatic, 1 primal, 2 dual, 3 network, 4 barrier) take
   effect at the next round. Outside of a run: 1009. */
QVN_API int QVNsiftgetx(QVNCENVptr env, QVNCLPptr lp, double *x, int begin, int end);
QVN_API int QVNsiftgetslack(QVNCENVptr env, QVNCLPptr lp, double *slack, int begin, int end);
QVN_API int QVNsiftgetpi(QVNCENVptr env, QVNCLPptr lp, double *pi, int begin, int end);
QVN_API int QVNsiftgetdj(QVNCENVptr env, QVNCLPptr lp, double *dj, int begin, int end);
QVN_API int QVNsiftgetobjval(QVNCENVptr env, QVNCLPptr lp, double *objective);
/* Structural columns of the work LP, its rows, the phase (1 or 2); 0 on error. */
QVN_API int QVNsiftgetnumcols(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNsiftgetnumrows(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNsiftgetphase(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNsiftaddcols(QVNCENVptr env, QVNLPptr lp, int count, const int *indices);
QVN_API int QVNsiftdelcols(QVNCENVptr env, QVNLPptr lp, int count, const int *indices);
QVN_API int QVNsiftsetmethod(QVNCENVptr env, QVNLPptr lp, int method);

/* ---- Presolve and crush ----------------------------------------------- */
QVN_API int QVNpresolve(QVNCENVptr env, QVNLPptr lp, int method);
/* Rows found redundant get -1 in rowRedundantOut (else 0); the bound arrays
   receive the bounds presolve proved. No reduced problem is kept. */
QVN_API int QVNbasicpresolve(QVNCENVptr env, QVNLPptr lp, int *rowRedundantOut, double *lowerOut,
                             double *upperOut);
QVN_API int QVNfreepresolve(QVNCENVptr env, QVNLPptr lp);
/* statusOut: 0 no presolved problem, 1 a reduced problem exists, 2 all was
   eliminated. Original to reduced maps: index >= 0 or a negative code. */
QVN_API int QVNgetprestat(QVNCENVptr env, QVNCLPptr lp, int *statusOut, int *reducedColStatus,
                          int *reducedRowStatus, int *origColStatus, int *origRowStatus);
QVN_API int QVNgetredlp(QVNCENVptr env, QVNCLPptr lp, QVNCLPptr *reducedOut);
QVN_API int QVNcopyprotected(QVNCENVptr env, QVNLPptr lp, int count, const int *indices);
QVN_API int QVNgetprotected(QVNCENVptr env, QVNCLPptr lp, int *countOut, int *indices, int space,
                            int *surplusOut);
/* Original index of each reduced column (row) begin..end; 1103 without a
   presolved problem, 1119 for a dualized one. */
QVN_API int QVNEgetorigcolind(QVNCENVptr env, QVNCLPptr lp, int *origIndex, int begin, int end);
QVN_API int QVNEgetorigrowind(QVNCENVptr env, QVNCLPptr lp, int *origIndex, int begin, int end);
QVN_API int QVNcrushx(QVNCENVptr env, QVNCLPptr lp, const double *x, double *reducedX);
QVN_API int QVNuncrushx(QVNCENVptr env, QVNCLPptr lp, double *x, const double *reducedX);
QVN_API int QVNcrushpi(QVNCENVptr env, QVNCLPptr lp, const double *pi, double *reducedPi);
/* x: the reduced problem's primal point (optional for an LP). */
QVN_API int QVNuncrushpi(QVNCENVptr env, QVNCLPptr lp, double *pi, const double *reducedPi,
                         const double *x);
/* As QVNuncrushpi; x (the reduced primal point) is required. */
QVN_API int QVNqpuncrushpi(QVNCENVptr env, QVNCLPptr lp, double *pi, const double *reducedPi,
                           const double *x);
QVN_API int QVNcrushform(QVNCENVptr env, QVNCLPptr lp, int len, const int *indices,
                         const double *values, int *plenOut, double *poffsetOut, int *pindices,
                         double *pvalues);
QVN_API int QVNuncrushform(QVNCENVptr env, QVNCLPptr lp, int plen, const int *pindices,
                           const double *pvalues, int *lenOut, double *offsetOut, int *indices,
                           double *values);
/* Adds rows (as QVNaddrows, without new columns) to the problem and, written
   on the reduced columns, to its presolved copy. */
QVN_API int QVNpreaddrows(QVNCENVptr env, QVNLPptr lp, int newRows, int newNonzeros, const double *rhs,
                          const char *sense, const int *rowStart, const int *colIndex,
                          const double *coefValue, char **rowNames);
/* Changes objective coefficients of the problem and of its presolved copy. */
QVN_API int QVNprechgobj(QVNCENVptr env, QVNLPptr lp, int count, const int *indices,
                         const double *values);

/* ---- Mixed integer optimizer ------------------------------------------ */
/* Branch and bound; the outcome is QVNgetstat's status 101..119. A run
   stopped by a limit resumes from its tree when called again. */
QVN_API int QVNmipopt(QVNCENVptr env, QVNLPptr lp);
/* Lowest objective bound over the open nodes (highest for a maximization);
   the incumbent's value once the tree is exhausted. 3412 before any run. */
QVN_API int QVNgetbestobjval(QVNCENVptr env, QVNCLPptr lp, double *valuePointer);
/* |incumbent - best bound| / (1e-10 + |incumbent|); 3023 without an incumbent. */
QVN_API int QVNgetmiprelgap(QVNCENVptr env, QVNCLPptr lp, double *gapPointer);
/* Nodes processed, nodes still open, simplex iterations of all node LPs. */
QVN_API int QVNgetnodecnt(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNgetnodeleftcnt(QVNCENVptr env, QVNCLPptr lp);
QVN_API int QVNgetmipitcnt(QVNCENVptr env, QVNCLPptr lp);

/* ---- Network problems ------------------------------------------------- */
/* A network model of its own: nodes with supplies (out - in = supply, so a
   positive supply is a source), arcs with a cost and two bounds. Node and arc
   indices start at 0; bounds from 1e+20 in size are infinite. */
#define QVNERR_NET_FILE_INCONSISTENT 1530
#define QVNERR_NET_NOT_MINCOST       1531
#define QVNERR_NET_BAD_ROW           1532
#define QVNERR_NET_BAD_CHARACTER     1537
#define QVNERR_NET_FILE_END          1538
QVN_API QVNNETptr QVNNETcreateprob(QVNENVptr env, int *status, const char *name);
QVN_API int QVNNETfreeprob(QVNENVptr env, QVNNETptr *netPointer);
QVN_API int QVNNETcopynet(QVNCENVptr env, QVNNETptr net, int objSense, int nodeCount, const double *supply,
                          char **nodeNames, int arcCount, const int *fromNode, const int *toNode,
                          const double *lower, const double *upper, const double *cost, char **arcNames);
QVN_API int QVNNETaddnodes(QVNCENVptr env, QVNNETptr net, int count, const double *supply, char **names);
QVN_API int QVNNETaddarcs(QVNCENVptr env, QVNNETptr net, int count, const int *fromNode, const int *toNode,
                          const double *lower, const double *upper, const double *cost, char **names);
/* Deleting a node deletes its arcs; the basis goes. */
QVN_API int QVNNETdelnodes(QVNCENVptr env, QVNNETptr net, int begin, int end);
QVN_API int QVNNETdelarcs(QVNCENVptr env, QVNNETptr net, int begin, int end);
/* Flags 1 delete; on return, the new index of each node and arc or -1. Either
   array may be null. */
QVN_API int QVNNETdelset(QVNCENVptr env, QVNNETptr net, int *nodeFlags, int *arcFlags);
QVN_API int QVNNETgetnumnodes(QVNCENVptr env, QVNNETptr net);
QVN_API int QVNNETgetnumarcs(QVNCENVptr env, QVNNETptr net);
QVN_API int QVNNETgetobjsen(QVNCENVptr env, QVNNETptr net);
QVN_API int QVNNETgetnodeindex(QVNCENVptr env, QVNNETptr net, const char *name, int *indexPointer);
QVN_API int QVNNETgetarcindex(QVNCENVptr env, QVNNETptr net, const char *name, int *indexPointer);
QVN_API int QVNNETgetsupply(QVNCENVptr env, QVNNETptr net, double *supply, int begin, int end);
QVN_API int QVNNETgetlb(QVNCENVptr env, QVNNETptr net, double *lower, int begin, int end);
QVN_API int QVNNETgetub(QVNCENVptr env, QVNNETptr net, double *upper, int begin, int end);
QVN_API int QVNNETgetobj(QVNCENVptr env, QVNNETptr net, double *cost, int begin, int end);
QVN_API int QVNNETgetarcnodes(QVNCENVptr env, QVNNETptr net, int *fromNode, int *toNode, int begin, int end);
/* Arcs leaving nodes begin..end, node by node, under the surplus rule:
   1207 with a negative surplus when arcSpace is too small. */
QVN_API int QVNNETgetnodearcs(QVNCENVptr env, QVNNETptr net, int *arcCountOut, int *arcStart, int *arcs,
                              int arcSpace, int *surplus, int begin, int end);
QVN_API int QVNNETgetarcname(QVNCENVptr env, QVNNETptr net, char **names, char *store, int storeSpace,
                             int *surplus, int begin, int end);
QVN_API int QVNNETgetnodename(QVNCENVptr env, QVNNETptr net, char **names, char *store, int storeSpace,
                              int *surplus, int begin, int end);
QVN_API int QVNNETgetprobname(QVNCENVptr env, QVNNETptr net, char *buffer, int space, int *surplus);
/* kinds: 'L' lower, 'U' upper, 'B' both. */
QVN_API int QVNNETchgbds(QVNCENVptr env, QVNNETptr net, int count, const int *indices, const char *kinds,
                         const double *values);
QVN_API int QVNNETchgobj(QVNCENVptr env, QVNNETptr net, int count, const int *indices, const double *values);
QVN_API int QVNNETchgsupply(QVNCENVptr env, QVNNETptr net, int count, const int *indices, const double *values);
QVN_API int QVNNETchgarcnodes(QVNCENVptr env, QVNNETptr net, int count, const int *indices, const int *fromNode,
                              const int *toNode);
QVN_API int QVNNETchgobjsen(QVNCENVptr env, QVNNETptr net, int objSense);
/* key 'a' an arc, 'n' a node. */
QVN_API int QVNNETchgname(QVNCENVptr env, QVNNETptr net, int key, int index, const char *name);
QVN_API int QVNNETchgarcname(QVNCENVptr env, QVNNETptr net, int count, const int *indices, char **names);
QVN_API int QVNNETchgnodename(QVNCENVptr env, QVNNETptr net, int count, const int *indices, char **names);
/* Arc statuses 0 lower, 1 in the tree, 2 upper, 3 free at 0; node statuses 1
   when the node's artificial arc is in the tree, 0 when not. */
QVN_API int QVNNETcopybase(QVNCENVptr env, QVNNETptr net, const int *arcStatus, const int *nodeStatus);
QVN_API int QVNNETgetbase(QVNCENVptr env, QVNNETptr net, int *arcStatus, int *nodeStatus);
/* Fills net with the columns of lp that hold one +1 and one -1 in equality
   rows (a column with one entry meets the extra node, numbered last); maps
   give each column its arc and each row its node, or -1. */
QVN_API int QVNNETextract(QVNCENVptr env, QVNNETptr net, QVNCLPptr lp, int *columnMap, int *rowMap);
QVN_API int QVNNETprimopt(QVNCENVptr env, QVNNETptr net);
QVN_API int QVNNETgetstat(QVNCENVptr env, QVNNETptr net);
QVN_API int QVNNETsolninfo(QVNCENVptr env, QVNNETptr net, int *primalFeasible, int *dualFeasible);
/* pi prices nodes so that dj = cost - pi[from] + pi[to]; slack is the supply
   left unshipped: supply - (out - in). */
QVN_API int QVNNETsolution(QVNCENVptr env, QVNNETptr net, int *status, double *objective, double *x,
                           double *pi, double *slack, double *dj);
QVN_API int QVNNETgetobjval(QVNCENVptr env, QVNNETptr net, double *objective);
QVN_API int QVNNETgetx(QVNCENVptr env, QVNNETptr net, double *x, int begin, int end);
QVN_API int QVNNETgetpi(QVNCENVptr env, QVNNETptr net, double *pi, int begin, int end);
QVN_API int QVNNETgetslack(QVNCENVptr env, QVNNETptr net, double *slack, int begin, int end);
QVN_API int QVNNETgetdj(QVNCENVptr env, QVNNETptr net, double *dj, int begin, int end);
QVN_API int QVNNETgetitcnt(QVNCENVptr env, QVNNETptr net);
QVN_API int QVNNETgetphase1cnt(QVNCENVptr env, QVNNETptr net);
/* Called at each iteration log step with where = 3; a non-zero return stops
   the solve (status 13). A null callback removes it. */
QVN_API int QVNNETsetcallbackfunc(QVNENVptr env, int (*callback)(QVNCENVptr env, QVNNETptr net, int where,
                                                                 void *handle),
                                  void *handle);
/* Reads a DIMACS minimum-cost flow file ("p min" line; plain, .gz or .bz2)
   into net, replacing its content. */
QVN_API int QVNNETreadcopyprob(QVNCENVptr env, QVNNETptr net, const char *fileName);

/* ---- Diagnostics ------------------------------------------------------ */
/* Conflict refiner. The outcome of a refinement is read with QVNgetstat
   (30..38); the conflict stays with the problem until its model changes. */
#define QVN_STAT_CONFLICT_NONMINIMAL        32
#define QVN_STAT_CONFLICT_ABORT_TIME_LIM    33
#define QVN_STAT_CONFLICT_ABORT_IT_LIM      34
#define QVN_STAT_CONFLICT_ABORT_NODE_LIM    35
#define QVN_STAT_CONFLICT_ABORT_OBJ_LIM     36
#define QVN_STAT_CONFLICT_ABORT_MEM_LIM     37
#define QVN_STAT_CONFLICT_ABORT_USER        38
#define QVNERR_CONFLICT_UNAVAILABLE       1719
#define QVNERR_CONFLICT_UNREPRODUCED      1720
/* Member statuses: proven members 3 (a row, or both bounds of a column), 4
   (lower bound), 5 (upper bound); members that may be needed 0, 1, 2 in the
   same order; -1 for what is not in the conflict. */
#define QVN_CONFLICT_EXCLUDED       -1
#define QVN_CONFLICT_POSSIBLE_MEMBER 0
#define QVN_CONFLICT_POSSIBLE_LB     1
#define QVN_CONFLICT_POSSIBLE_UB     2
#define QVN_CONFLICT_MEMBER          3
#define QVN_CONFLICT_LB              4
#define QVN_CONFLICT_UB              5
/* Kinds of the members of a group in QVNrefineconflictext. */
#define QVN_CON_LOWER_BOUND 1
#define QVN_CON_UPPER_BOUND 2
#define QVN_CON_LINEAR      3
/* All rows and bounds are members; out: the rows and columns in the conflict. */
QVN_API int QVNrefineconflict(QVNCENVptr env, QVNLPptr lp, int *confRowsOut, int *confColsOut);
/* Group g holds members groupBegin[g] .. groupBegin[g+1]-1 (the last group ends
   at memberCount): memberIndex[k] a row or column, memberKind[k] one of the
   QVN_CON_ kinds. Groups of lower preference are tried first for the
   conflict; rows and bounds in no group are always kept. */
QVN_API int QVNrefineconflictext(QVNCENVptr env, QVNLPptr lp, int groupCount, int memberCount,
                                 const double *groupPreference, const int *groupBegin,
                                 const int *memberIndex, const int *memberKind);
/* Members of the conflict, rows and columns in rising order; any array may be null. */
QVN_API int QVNgetconflict(QVNCENVptr env, QVNCLPptr lp, int *statusOut, int *rowIndices, int *rowStatus,
                           int *rowCountOut, int *colIndices, int *colStatus, int *colCountOut);
/* Statuses of groups begin..end of the last refinement. QVNrefineconflict
   forms numrows + 2 numcols groups: the rows, then the lower bounds of the
   columns, then their upper bounds (an infinite bound is never a member). */
QVN_API int QVNgetconflictext(QVNCENVptr env, QVNCLPptr lp, int *groupStatus, int begin, int end);
/* The conflict as an LP file, named "<problem>_conflict". */
QVN_API int QVNclpwrite(QVNCENVptr env, QVNCLPptr lp, const char *fileName);

/* ---- Progress callback of the continuous optimizers --------------------
   Called with one of the wherefrom numbers below: by the simplex loops and
   the barrier at each iteration, by presolve at each pass and by the
   conflict refiner at each test (4 and 5 are kept for crossover). A non-zero return
   stops the run: status 13 for an optimizer, error 1106 from presolve,
   status 38 from the refiner. It is not called for the LPs inside a MIP
   run, where the MIP callbacks serve. The callback reads numbers with
   QVNgetcallbackinfo: objectives and flags as double and int, infeasibility
   sums of the working (scaled) problem; presolve gives its running counts
   instead. The network simplex has a callback of its
   own (QVNNETsetcallbackfunc, where 3). */
#define QVN_CALLBACK_PRIMAL            1
#define QVN_CALLBACK_DUAL              2
#define QVN_CALLBACK_NETWORK           3
#define QVN_CALLBACK_PRIMAL_CROSSOVER  4
#define QVN_CALLBACK_DUAL_CROSSOVER    5
#define QVN_CALLBACK_BARRIER           6
#define QVN_CALLBACK_PRESOLVE          7
#define QVN_CALLBACK_QPBARRIER         8
#define QVN_CALLBACK_QPSIMPLEX         9
#define QVN_CALLBACK_CONFLICT          10

#define QVN_CALLBACK_INFO_PRIMAL_OBJ        1
#define QVN_CALLBACK_INFO_DUAL_OBJ          2
#define QVN_CALLBACK_INFO_PRIMAL_INFMEAS    3
#define QVN_CALLBACK_INFO_DUAL_INFMEAS      4
#define QVN_CALLBACK_INFO_PRIMAL_FEAS       5
#define QVN_CALLBACK_INFO_DUAL_FEAS         6
#define QVN_CALLBACK_INFO_ITCOUNT           7
#define QVN_CALLBACK_INFO_PRESOLVE_ROWSGONE 8
#define QVN_CALLBACK_INFO_PRESOLVE_COLSGONE 9
#define QVN_CALLBACK_INFO_PRESOLVE_AGGSUBST 10
#define QVN_CALLBACK_INFO_PRESOLVE_BOUNDS   11

typedef int (*QVNlpcallbackfunc)(QVNCENVptr env, void *cbdata, int wherefrom, void *cbhandle);
QVN_API int QVNsetlpcallbackfunc(QVNENVptr env, QVNlpcallbackfunc callback, void *cbhandle);
QVN_API int QVNgetlpcallbackfunc(QVNCENVptr env, QVNlpcallbackfunc *callback_p, void **cbhandle_p);

/* ---- MIP callbacks ------------------------------------------------------
   Registered on the Environment (a null function removes one) and called
   during QVNmipopt with the run's callback data, the wherefrom number and the
   caller's handle. A non-zero return stops the run: below 1000 with status
   113 or 114 (aborted), from 1000 up as a failure (109 or 110). */
#define QVN_CALLBACK_MIP             101
#define QVN_CALLBACK_MIP_BRANCH      102
#define QVN_CALLBACK_MIP_NODE        103
#define QVN_CALLBACK_MIP_HEURISTIC   104
#define QVN_CALLBACK_MIP_SOLVE       105
#define QVN_CALLBACK_MIP_CUT         106
#define QVN_CALLBACK_MIP_PROBE       107
#define QVN_CALLBACK_MIP_FRACCUT     108
#define QVN_CALLBACK_MIP_DISJCUT     109
#define QVN_CALLBACK_MIP_FLOWMIR     110
#define QVN_CALLBACK_MIP_INCUMBENT   111
#define QVN_CALLBACK_MIP_DELETENODE  112
#define QVN_CALLBACK_MIP_BRANCH_NOSOLN 113

#define QVN_CALLBACK_INFO_BEST_INTEGER     101
#define QVN_CALLBACK_INFO_BEST_REMAINING   102
#define QVN_CALLBACK_INFO_NODE_COUNT       103
#define QVN_CALLBACK_INFO_NODES_LEFT       104
#define QVN_CALLBACK_INFO_MIP_ITERATIONS   105
#define QVN_CALLBACK_INFO_CUTOFF           106
#define QVN_CALLBACK_INFO_NODE_ITCNT        17
#define QVN_CALLBACK_INFO_CLIQUE_COUNT     107
#define QVN_CALLBACK_INFO_COVER_COUNT      108
#define QVN_CALLBACK_INFO_MIP_FEAS         109
#define QVN_CALLBACK_INFO_FLOWCOVER_COUNT  110
#define QVN_CALLBACK_INFO_GUBCOVER_COUNT   111
#define QVN_CALLBACK_INFO_IMPLBD_COUNT     112
#define QVN_CALLBACK_INFO_PROBE_PHASE      113
#define QVN_CALLBACK_INFO_PROBE_PROGRESS   114
#define QVN_CALLBACK_INFO_FRACCUT_COUNT    115
#define QVN_CALLBACK_INFO_FRACCUT_PROGRESS 116
#define QVN_CALLBACK_INFO_DISJCUT_COUNT    117
#define QVN_CALLBACK_INFO_DISJCUT_PROGRESS 118
#define QVN_CALLBACK_INFO_FLOWPATH_COUNT   119
#define QVN_CALLBACK_INFO_MIRCUT_COUNT     120
#define QVN_CALLBACK_INFO_FLOWMIR_PROGRESS 121
#define QVN_CALLBACK_INFO_MY_THREAD_NUM    122
#define QVN_CALLBACK_INFO_USER_THREADS     123

/* QVNgetcallbacknodeinfo and QVNgetcallbackseqinfo. */
#define QVN_CALLBACK_INFO_NODE_SIINF       201
#define QVN_CALLBACK_INFO_NODE_NIINF       202
#define QVN_CALLBACK_INFO_NODE_ESTIMATE    203
#define QVN_CALLBACK_INFO_NODE_DEPTH       204
#define QVN_CALLBACK_INFO_NODE_OBJVAL      205
#define QVN_CALLBACK_INFO_NODE_TYPE        206
#define QVN_CALLBACK_INFO_NODE_VAR         207
#define QVN_CALLBACK_INFO_NODE_SOS         208
/* Further node facts of this library: the node's sequence number (int), its
   id for the delete-node callback (int, -1 for none) and its user handle
   (void *, null for none). */
#define QVN_CALLBACK_INFO_NODE_SEQNUM      209
#define QVN_CALLBACK_INFO_NODE_NODENUM     210
#define QVN_CALLBACK_INFO_NODE_USERHANDLE  211

/* QVNgetcallbacksosinfo: the set's type ('1' or '2', char), its size (int),
   1 when the node LP's point satisfies it (int), and for a member its column
   index (int) and its weight (double). */
#define QVN_CALLBACK_INFO_SOS_TYPE         240
#define QVN_CALLBACK_INFO_SOS_SIZE         241
#define QVN_CALLBACK_INFO_SOS_IS_FEASIBLE  242
#define QVN_CALLBACK_INFO_SOS_MEMBER_INDEX 243
#define QVN_CALLBACK_INFO_SOS_MEMBER_REFVAL 244

/* QVNgetcallbacknodeintfeas, per column. */
#define QVN_INTEGER_FEASIBLE   0
#define QVN_INTEGER_INFEASIBLE 1
#define QVN_CONTINUOUS_VAR     2

#define QVN_CALLBACK_DEFAULT 0
#define QVN_CALLBACK_FAIL    1
#define QVN_CALLBACK_SET     2

/* Informational: 101 at each turn of the node loop; from the root passes 107
   (clique table, then probing), 108 (Gomory) and 110 (flow cover and MIR),
   where the PROBE_PHASE and ..._PROGRESS infos tell how far the pass is. */
typedef int (*QVNmipcallbackfunc)(QVNCENVptr env, void *cbdata, int wherefrom, void *cbhandle);
/* An incumbent candidate: objective in the user's sense and x (one value per
   column). Setting *isfeas_p to 0 refuses it; *useraction_p 1 stops the run. */
typedef int (*QVNincumbentcallbackfunc)(QVNCENVptr env, void *cbdata, int wherefrom, void *cbhandle,
                                        double objval, double *x, int *isfeas_p, int *useraction_p);
/* Called at every node whose LP is solved, fractional or integer, before the
   solution is offered or branched on; cuts go in with QVNcutcallbackadd.
   Cuts must be valid for every integer solution; used at integer points they
   act as lazy constraints: the node is solved again until none is added.
   While a cut callback is set, solutions found by heuristics are refused. */
typedef int (*QVNcutcallbackfunc)(QVNCENVptr env, void *cbdata, int wherefrom, void *cbhandle,
                                  int *useraction_p);

/* Branch (102) and branch without solution (113): the built-in choice as
   `nodecnt` children, child k's `bdcnt` bound changes from nodebeg[k] (column
   indices[i], lu[i] 'L' lower, 'U' upper or 'B' both, to bd[i]) and its
   estimate nodeest[k]; brtype '0' for a variable branch, '1' or '2' for a set
   (`sos` its index, else -1), 'X' otherwise. With *useraction_p 2 the
   children made by QVNbranchcallbackbranchbds and its like replace the
   built-in ones (none made: the node is dropped); 1 stops the run. */
typedef int (*QVNbranchcallbackfunc)(QVNCENVptr env, void *cbdata, int wherefrom, void *cbhandle, int brtype,
                                     int sos, int nodecnt, int bdcnt, const int *nodebeg, const int *indices,
                                     const char *lu, const double *bd, const double *nodeest,
                                     int *useraction_p);
/* Node (103): before a node is taken from the store. *nodeindex_p names it,
   0 to nodes left - 1 (0 is the node the built-in rule would take), with
   *useraction_p 2; another index is error 1200. */
typedef int (*QVNnodecallbackfunc)(QVNCENVptr env, void *cbdata, int wherefrom, void *cbhandle,
                                   int *nodeindex_p, int *useraction_p);
/* Heuristic (104): after a fractional node LP, before its children are
   made, with its objective and point (user sense). With *useraction_p 2 the
   callback's x (bounds and rows checked, integer columns rounded) is offered
   as an incumbent. */
typedef int (*QVNheuristiccallbackfunc)(QVNCENVptr env, void *cbdata, int wherefrom, void *cbhandle,
                                        double *objval_p, double *x, int *useraction_p);
/* Solve (105): instead of the node LP. The callback may solve the copy of
   QVNgetcallbacknodelp itself; with *useraction_p 2 its optimal basis is what
   the node continues from (the node LP is then solved from it, in no
   iteration when it is optimal). */
typedef int (*QVNsolvecallbackfunc)(QVNCENVptr env, void *cbdata, int wherefrom, void *cbhandle,
                                    int *useraction_p);
/* Delete node (112): a node made by a branch callback leaves the tree
   without being processed (at the cutoff, a child not created, or left when
   the tree ends), with its sequence number and user handle; once per node. */
typedef void (*QVNdeletenodecallbackfunc)(QVNCENVptr env, int wherefrom, void *cbhandle, int seqnum,
                                          void *handle);

QVN_API int QVNsetbranchcallbackfunc(QVNENVptr env, QVNbranchcallbackfunc callback, void *cbhandle);
QVN_API int QVNgetbranchcallbackfunc(QVNCENVptr env, QVNbranchcallbackfunc *callback_p, void **cbhandle_p);
QVN_API int QVNsetbranchnosolncallbackfunc(QVNENVptr env, QVNbranchcallbackfunc callback, void *cbhandle);
QVN_API int QVNgetbranchnosolncallbackfunc(QVNCENVptr env, QVNbranchcallbackfunc *callback_p, void **cbhandle_p);
QVN_API int QVNsetnodecallbackfunc(QVNENVptr env, QVNnodecallbackfunc callback, void *cbhandle);
QVN_API int QVNgetnodecallbackfunc(QVNCENVptr env, QVNnodecallbackfunc *callback_p, void **cbhandle_p);
QVN_API int QVNsetheuristiccallbackfunc(QVNENVptr env, QVNheuristiccallbackfunc callback, void *cbhandle);
QVN_API int QVNgetheuristiccallbackfunc(QVNCENVptr env, QVNheuristiccallbackfunc *callback_p,
                                        void **cbhandle_p);
QVN_API int QVNsetsolvecallbackfunc(QVNENVptr env, QVNsolvecallbackfunc callback, void *cbhandle);
QVN_API int QVNgetsolvecallbackfunc(QVNCENVptr env, QVNsolvecallbackfunc *callback_p, void **cbhandle_p);
QVN_API int QVNsetdeletenodecallbackfunc(QVNENVptr env, QVNdeletenodecallbackfunc callback, void *cbhandle);
QVN_API int QVNgetdeletenodecallbackfunc(QVNCENVptr env, QVNdeletenodecallbackfunc *callback_p,
                                         void **cbhandle_p);

/* Children of a branch callback (wherefrom 102 or 113 only, else 1003). A
   child takes the node's bounds changed by `cnt` entries (lu 'L', 'U' or
   'B'); its estimate is in the user's sense; *seqnum_p (may be null) gets its
   sequence number. Rows for a child (senses 'L', 'G', 'E'; row r's entries
   from rmatbeg[r]) hold in its subtree only; no node cut rounds run there. */
QVN_API int QVNbranchcallbackbranchbds(QVNCENVptr env, void *cbdata, int wherefrom, int cnt, const int *indices,
                                       const char *lu, const double *bd, double nodeest, void *userhandle,
                                       int *seqnum_p);
QVN_API int QVNbranchcallbackbranchconstraints(QVNCENVptr env, void *cbdata, int wherefrom, int rcnt, int nzcnt,
                                               const double *rhs, const char *sense, const int *rmatbeg,
                                               const int *rmatind, const double *rmatval, double nodeest,
                                               void *userhandle, int *seqnum_p);
QVN_API int QVNbranchcallbackbranchgeneral(QVNCENVptr env, void *cbdata, int wherefrom, int varcnt,
                                           const int *varind, const char *varlu, const double *varbd, int rcnt,
                                           int nzcnt, const double *rhs, const char *sense, const int *rmatbeg,
                                           const int *rmatind, const double *rmatval, double nodeest,
                                           void *userhandle, int *seqnum_p);

QVN_API int QVNsetmipcallbackfunc(QVNENVptr env, QVNmipcallbackfunc callback, void *cbhandle);
QVN_API int QVNgetmipcallbackfunc(QVNCENVptr env, QVNmipcallbackfunc *callback_p, void **cbhandle_p);
QVN_API int QVNsetincumbentcallbackfunc(QVNENVptr env, QVNincumbentcallbackfunc callback, void *cbhandle);
QVN_API int QVNgetincumbentcallbackfunc(QVNCENVptr env, QVNincumbentcallbackfunc *callback_p,
                                        void **cbhandle_p);
QVN_API int QVNsetcutcallbackfunc(QVNENVptr env, QVNcutcallbackfunc callback, void *cbhandle);
QVN_API int QVNgetcutcallbackfunc(QVNCENVptr env, QVNcutcallbackfunc *callback_p, void **cbhandle_p);
/* One of the QVN_CALLBACK_INFO_ values; counts and flags are written as int,
   objective values as double. 1003 for a wherefrom it does not serve. */
QVN_API int QVNgetcallbackinfo(QVNCENVptr env, void *cbdata, int wherefrom, int whichinfo, void *result_p);
/* Values begin..end of the point the callback is called for (the node LP's
   solution, or the candidate of an incumbent callback). */
QVN_API int QVNgetcallbacknodex(QVNCENVptr env, void *cbdata, int wherefrom, double *x, int begin, int end);
/* The getters below answer from the data of the callback's own call: 1003
   for a wherefrom that is not a MIP one or not the call's, 1006 when the call
   has no such data (no node LP point in an informational call, say). Values
   are in the caller's columns and objective sense: callbacks keep presolve
   off, so QVN_PARAM_MIPCBREDLP 0 and 1 name the same space. */
/* Node facts (QVN_CALLBACK_INFO_NODE_...) of node `nodeindex`: in a call with
   a node in hand (102, 104, 105, 106, 113, and 101 once a node is taken)
   index 0 is that node and k >= 1 the store's k-1th; elsewhere k is the
   store's kth, the numbering of the node callback (103). SIINF, ESTIMATE
   and OBJVAL are doubles (user sense), TYPE a char, the others int. */
QVN_API int QVNgetcallbacknodeinfo(QVNCENVptr env, void *cbdata, int wherefrom, int nodeindex, int whichinfo,
                                   void *result_p);
/* The same for the open node or node in hand with sequence number `seqid`. */
QVN_API int QVNgetcallbackseqinfo(QVNCENVptr env, void *cbdata, int wherefrom, int seqid, int whichinfo,
                                  void *result_p);
QVN_API int QVNgetcallbacksosinfo(QVNCENVptr env, void *cbdata, int wherefrom, int sosindex, int member,
                                  int whichinfo, void *result_p);
/* Indicator constraints are not part of a MIP run here: always 1006. */
QVN_API int QVNgetcallbackindicatorinfo(QVNCENVptr env, void *cbdata, int wherefrom, int iindex, int whichinfo,
                                        void *result_p);
/* A Problem holding the node LP as it stands (rows, cuts, node bounds);
   valid until the callback returns, changes to it stay in it. */
QVN_API int QVNgetcallbacknodelp(QVNCENVptr env, void *cbdata, int wherefrom, QVNLPptr *nodelp_p);
/* The Problem being optimized. */
QVN_API int QVNgetcallbacklp(QVNCENVptr env, void *cbdata, int wherefrom, QVNCLPptr *lp_p);
QVN_API int QVNgetcallbacknodeobjval(QVNCENVptr env, void *cbdata, int wherefrom, double *objval_p);
QVN_API int QVNgetcallbackctype(QVNCENVptr env, void *cbdata, int wherefrom, char *xctype, int begin, int end);
/* Priorities (-1 for none) and directions (1 up, -1 down, 0 free) of the order in use. */
QVN_API int QVNgetcallbackorder(QVNCENVptr env, void *cbdata, int wherefrom, int *priority, int *direction,
                                int begin, int end);
QVN_API int QVNgetcallbackpseudocosts(QVNCENVptr env, void *cbdata, int wherefrom, double *uppc, double *downpc,
                                      int begin, int end);
QVN_API int QVNgetcallbackincumbent(QVNCENVptr env, void *cbdata, int wherefrom, double *x, int begin, int end);
/* QVN_INTEGER_FEASIBLE, QVN_INTEGER_INFEASIBLE or QVN_CONTINUOUS_VAR per
   column at the node LP's point. */
QVN_API int QVNgetcallbacknodeintfeas(QVNCENVptr env, void *cbdata, int wherefrom, int *feas, int begin, int end);
/* Bounds valid in the whole tree, and those of the node in hand. */
QVN_API int QVNgetcallbackgloballb(QVNCENVptr env, void *cbdata, int wherefrom, double *lb, int begin, int end);
QVN_API int QVNgetcallbackglobalub(QVNCENVptr env, void *cbdata, int wherefrom, double *ub, int begin, int end);
QVN_API int QVNgetcallbacknodelb(QVNCENVptr env, void *cbdata, int wherefrom, double *lb, int begin, int end);
QVN_API int QVNgetcallbacknodeub(QVNCENVptr env, void *cbdata, int wherefrom, double *ub, int begin, int end);
/* The node LP's status as QVNgetstat tells an LP's (1 optimal, 3 infeasible,
   12 stopped at the cutoff, 0 when it has none). */
QVN_API int QVNgetcallbacknodestat(QVNCENVptr env, void *cbdata, int wherefrom, int *nodestat_p);
/* Rows of child `which_branch` of the built-in branch (at 102 and 113); the
   built-in branches add none, so *cuts_p and *nzcnt_p are 0. */
QVN_API int QVNgetcallbackbranchconstraints(QVNCENVptr env, void *cbdata, int wherefrom, int which_branch,
                                            int *cuts_p, int *nzcnt_p, double *rhs, char *sense, int *rmatbeg,
                                            int *rmatind, double *rmatval, int rmatsz, int *surplus_p);
/* Adds the cut sum cutval[k] x[cutind[k]] (sense 'L', 'G' or 'E') rhs from a
   cut callback (error 1003 from any other). */
QVN_API int QVNcutcallbackadd(QVNCENVptr env, void *cbdata, int wherefrom, int nzcnt, double rhs, int sense,
                              const int *cutind, const double *cutval, int purgeable);
/* As QVNcutcallbackadd, for a cut that holds in the subtree of the node in
   hand only: the node's children and their descendants inherit it. */
QVN_API int QVNcutcallbackaddlocal(QVNCENVptr env, void *cbdata, int wherefrom, int nzcnt, double rhs, int sense,
                                   const int *cutind, const double *cutval);

/* ---- User cuts and lazy constraints --------------------------------------
   Rows kept beside a MIP, not in its LP, with the arguments of QVNaddrows
   (rowStart[r] is where row r's entries begin; names are not kept yet).
   Lazy constraints must hold for any solution: every candidate is checked
   and a violated row joins the LP. User cuts are valid for every integer
   solution and join the LP where they cut a node's point off by 0.1 or more.
   Adding or freeing either discards a held search. */
QVN_API int QVNaddusercuts(QVNCENVptr env, QVNLPptr lp, int rowCount, int nonzeros, const double *rhs,
                           const char *sense, const int *rowStart, const int *colIndex, const double *coefValue,
                           char **rowNames);
QVN_API int QVNaddlazyconstraints(QVNCENVptr env, QVNLPptr lp, int rowCount, int nonzeros, const double *rhs,
                                  const char *sense, const int *rowStart, const int *colIndex,
                                  const double *coefValue, char **rowNames);
QVN_API int QVNEgetusercutname(QVNCENVptr env, QVNCLPptr lp, char **nameArray, char *store, int space,
                               int *surplus, int begin, int end);
QVN_API int QVNEgetlazyconstraintname(QVNCENVptr env, QVNCLPptr lp, char **nameArray, char *store, int space,
                                      int *surplus, int begin, int end);
QVN_API int QVNfreeusercuts(QVNCENVptr env, QVNLPptr lp);
QVN_API int QVNfreelazyconstraints(QVNCENVptr env, QVNLPptr lp);

#ifdef __cplusplus
}
#endif

#endif /* QUORVAN_H */
