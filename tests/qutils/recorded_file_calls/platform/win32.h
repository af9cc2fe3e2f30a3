// Stands in for the header of the same name: the file calls become those of a system that
// a test plays.
#ifndef MTLLIB_TESTS_RECORDED_FILE_CALLS_WIN32_H_
#define MTLLIB_TESTS_RECORDED_FILE_CALLS_WIN32_H_

#include "../../../../platform/win32.h"

HANDLE recordedCreateFile(LPCWSTR name, DWORD access, DWORD shareMode, const void* security,
                          DWORD disposition, DWORD flagsAndAttributes, HANDLE templateFile);
BOOL recordedReadFile(HANDLE file, void* buffer, DWORD size, DWORD* read, const void* overlapped);
BOOL recordedWriteFile(HANDLE file, const void* buffer, DWORD size, DWORD* written,
                       const void* overlapped);
DWORD recordedSetFilePointer(HANDLE file, LONG distance, LONG* distanceHigh, DWORD method);
DWORD recordedGetFileSize(HANDLE file, DWORD* sizeHigh);
BOOL recordedSetEndOfFile(HANDLE file);
BOOL recordedFlushFileBuffers(HANDLE file);
BOOL recordedCloseHandle(HANDLE file);
HANDLE recordedFindFirstFile(LPCWSTR name, WIN32_FIND_DATAW* data);
BOOL recordedFindClose(HANDLE search);

#define CreateFileW recordedCreateFile
#define ReadFile recordedReadFile
#define WriteFile recordedWriteFile
#define SetFilePointer recordedSetFilePointer
#define GetFileSize recordedGetFileSize
#define SetEndOfFile recordedSetEndOfFile
#define FlushFileBuffers recordedFlushFileBuffers
#define CloseHandle recordedCloseHandle
#define FindFirstFileW recordedFindFirstFile
#define FindClose recordedFindClose

#endif  // MTLLIB_TESTS_RECORDED_FILE_CALLS_WIN32_H_
