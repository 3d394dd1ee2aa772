#pragma once

#include <glib-object.h>

G_BEGIN_DECLS

/// What the bus calls for each method of com.vexo.network.xml, on the thread that runs the loop.
/// @param error  set on failure, except when the argument is not the JSON object (or null) it
///               should be
/// @return TRUE, and in `data` the module's reply for g_free
gboolean net_get_device_list_data(GObject* object, const char* type, char** data, GError** error);
gboolean net_set_device_list_data(GObject* object, const char* data, GError** error);
gboolean net_del_device_list_data(GObject* object, const char* mac, GError** error);
gboolean net_get_gateway_list_data(GObject* object, const char* info, char** data, GError** error);
gboolean net_add_gateway_data(GObject* object, const char* info, GError** error);
gboolean net_del_gateway_data(GObject* object, const char* info, GError** error);
gboolean net_get_gateway_data_by_interface(GObject* object, const char* info, char** data,
                                           GError** error);
gboolean net_set_slave_data(GObject* object, const char* info, GError** error);
gboolean net_copy_gateway_data(GObject* object, const char* info, GError** error);
gboolean net_refresh_gateway(GObject* object, const char* type, GError** error);
gboolean net_reset_ipv6_module(GObject* object, const char* info, GError** error);

G_END_DECLS
