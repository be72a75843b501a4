#include "sfthread/sfthread.h"

msgBaseData::msgBaseData() : _msgData(nullptr) {}
msgBaseData::~msgBaseData() = default;
void* msgBaseData::getMsgData() { return _msgData; }
void msgBaseData::setMsgData(void* data) { _msgData = data; }

CallBackObject::CallBackObject(void* callbackData) : _callbackData(callbackData) {}
CallBackObject::~CallBackObject() = default;
void CallBackObject::setCallbackData(void* data) { _callbackData = data; }
void* CallBackObject::getCallbackData() { return _callbackData; }
