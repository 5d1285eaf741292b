// Leaf paths of the network settings, without the "/Value" of the leaves that hold them.
// "?" stands for the number of the Ethernet port.
#pragma once

constexpr char primary_dns_path[] = "/Software/System Settings/Network/Name Server/1";
constexpr char secondary_dns_path[] = "/Software/System Settings/Network/Name Server/2";

#define PORT_BRANCH "/Software/System Settings/Network/Interface/?/"
constexpr char dhcp_path[] = PORT_BRANCH "DHCP Enabled";
constexpr char ip_address_path[] = PORT_BRANCH "IP Address";
constexpr char subnet_mask_path[] = PORT_BRANCH "Subnet Mask";
constexpr char default_gateway_path[] = PORT_BRANCH "Default Gateway";
constexpr char mac_address_path[] = PORT_BRANCH "MAC Address";
constexpr char link_enabled_path[] = PORT_BRANCH "Link Enabled";
constexpr char supported_media_types_path[] = PORT_BRANCH "Media Type/Supported Types";
constexpr char media_type_path[] = PORT_BRANCH "Media Type/Current Type";
#undef PORT_BRANCH
